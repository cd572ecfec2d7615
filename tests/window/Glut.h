#pragma once

#include "tests/support/ShownWindow.h"

#include <GL/freeglut.h>
#include <gtest/gtest.h>

namespace velmor::tests {

/// Initialises GLUT, once in a process.
inline void initialiseGlut()
{
    static const bool initialised = [] {
        int count = 1;
        char name[] = "velmor";
        char* arguments[] = {name, nullptr};
        glutInit(&count, arguments); // ends the process where there is no display
        glutInitDisplayMode(GLUT_RGB | GLUT_DOUBLE);
        keepDriverLoaded();
        return true;
    }();
    ASSERT_TRUE(initialised);
}

} // namespace velmor::tests

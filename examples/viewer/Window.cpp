#include "examples/viewer/Window.h"

#include "examples/shared/FilterSupport.h"
#include "examples/shared/MessageLog.h"
#include "examples/shared/PictureFit.h"
#include "examples/shared/Program.h"
#include "examples/viewer/Commands.h"
#include "examples/viewer/Player.h"
#include "examples/viewer/Viewer.h"
#include "glsupport/DriverAdapter.h"

#include <GL/glew.h>

#include <GL/freeglut.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace velmor::viewer {
namespace {

/// What the one window shows: GLUT calls functions that know of no object.
struct Shown
{
    std::unique_ptr<Viewer> viewer; ///< none any more when the window closes
    std::string title;
    std::exception_ptr error; ///< what went wrong in a callback; it must not pass through GLUT
};

Shown shown;

/// Ends the viewer while its OpenGL context is still there.
void close()
{
    shown.viewer.reset();
}

void leave()
{
    close();
    glutLeaveMainLoop();
}

/// Does something with the viewer, if there is one.
template<class Action>
void withViewer(Action action)
{
    if (!shown.viewer)
        return;
    try {
        action(*shown.viewer);
    } catch (...) {
        shown.error = std::current_exception();
        leave();
        return;
    }
    if (shown.viewer->isDone())
        leave();
}

void onDisplay()
{
    withViewer([](Viewer& viewer) {
        viewer.draw({glutGet(GLUT_WINDOW_WIDTH), glutGet(GLUT_WINDOW_HEIGHT)});
        glutSwapBuffers();
        if (viewer.title() != shown.title) {
            shown.title = viewer.title();
            glutSetWindowTitle(shown.title.c_str());
        }
    });
}

void onTimer(int)
{
    withViewer([](Viewer& viewer) {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point begin = Clock::now();
        const double period = viewer.tick();
        if (viewer.isStale())
            glutPostRedisplay();
        const double rest = period - std::chrono::duration<double>(Clock::now() - begin).count();
        glutTimerFunc(static_cast<unsigned>(std::max(1.0, rest * 1000)), onTimer, 0);
    });
}

void onKey(int key)
{
    withViewer([key](Viewer& viewer) {
        runCommand(key, viewer);
        glutPostRedisplay();
    });
}

void onMouse(int button, int state, int x, int y)
{
    if (button != GLUT_LEFT_BUTTON && button != GLUT_RIGHT_BUTTON)
        return;
    withViewer([&](Viewer& viewer) {
        if (state == GLUT_DOWN)
            viewer.beginDrag(button == GLUT_LEFT_BUTTON ? Viewer::Mark::REGION : Viewer::Mark::PATCH, {x, y});
        else
            viewer.endDrag({x, y});
        glutPostRedisplay();
    });
}

void onMotion(int x, int y)
{
    withViewer([x, y](Viewer& viewer) {
        viewer.continueDrag({x, y});
        glutPostRedisplay();
    });
}

__attribute__((format(printf, 1, 0))) void onGlutError(const char* format, va_list arguments)
{
    char text[256];
    std::vsnprintf(text, sizeof text, format, arguments);
    demo::reportFailure(kProgramName, std::string("cannot open a window: ") + text);
    std::exit(EXIT_FAILURE); // GLUT does not expect to go on
}

/// As large as a frame, but not larger than the screen.
void openWindow(const cv::Size& frame)
{
    int count = 1;
    std::string name = kProgramName;
    char* arguments[] = {name.data(), nullptr};
    glutInitErrorFunc(onGlutError);
    glutInit(&count, arguments);
    glutInitDisplayMode(GLUT_RGB | GLUT_DOUBLE);
    const cv::Size screen(glutGet(GLUT_SCREEN_WIDTH), glutGet(GLUT_SCREEN_HEIGHT));
    const bool fits = frame.width <= screen.width && frame.height <= screen.height;
    const cv::Size size = fits ? frame : demo::fittedSize(frame, screen);
    glutInitWindowSize(size.width, size.height);
    glutSetOption(GLUT_ACTION_ON_WINDOW_CLOSE, GLUT_ACTION_GLUTMAINLOOP_RETURNS);
    glutCreateWindow(kProgramName);
}

void prepareDriver(const demo::MessageLog& log)
{
    if (const GLenum error = glewInit(); error != GLEW_OK)
        throw std::runtime_error(std::string("cannot use OpenGL: ") +
                                 reinterpret_cast<const char*>(glewGetErrorString(error)));
    const demo::MessageLog::Capture capture(log, STDOUT_FILENO);
    std::cout << glsupport::DriverAdapter::install();
    demo::requireFilterSupport(reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
}

} // namespace

void runWindow(Player& player, const demo::MessageLog& log)
{
    openWindow(player.frame().size());
    prepareDriver(log);
    shown.viewer = std::make_unique<Viewer>(player, log);
    glutDisplayFunc(onDisplay);
    glutKeyboardFunc([](unsigned char key, int, int) { onKey(key); });
    glutSpecialFunc([](int key, int, int) { onKey(kSpecialKey + key); });
    glutMouseFunc(onMouse);
    glutMotionFunc(onMotion);
    glutCloseFunc(close);
    glutTimerFunc(1, onTimer, 0);
    glutMainLoop();
    if (shown.error)
        std::rethrow_exception(shown.error);
}

} // namespace velmor::viewer

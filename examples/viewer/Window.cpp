#include "examples/viewer/Window.h"

#include "examples/shared/Pictures.h"
#include "examples/shared/Program.h"
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
#include <stdexcept>

namespace velmor::examples {
namespace {

constexpr int kSpecialKey = 0x100; ///< what GLUT reports as a special key is put above all characters
constexpr int kTab = '\t';
constexpr int kEscape = 27;

/// What some keys do: characters, or kSpecialKey + GLUT_KEY_...
struct Command
{
    HelpLine help;
    std::vector<int> keys;
    void (Viewer::*run)() = nullptr;

    Command& does(const std::string& effect, void (Viewer::*function)())
    {
        help.effect = effect;
        run = function;
        return *this;
    }
};

/// @param shown  the keys for people
Command on(const std::string& shown, const std::vector<int>& keys)
{
    return {{shown, {}}, keys};
}

const std::vector<Command>& commands()
{
    static const std::vector<Command> kCommands = {
        on("Right, n", {kSpecialKey + GLUT_KEY_RIGHT, 'n'}).does("next operator", &Viewer::nextOperator),
        on("Left, p", {kSpecialKey + GLUT_KEY_LEFT, 'p'}).does("previous operator", &Viewer::previousOperator),
        on("Tab", {kTab}).does("choose the next parameter", &Viewer::nextParameter),
        on("Up, +", {kSpecialKey + GLUT_KEY_UP, '+'}).does("increase it", &Viewer::increase),
        on("Down, -", {kSpecialKey + GLUT_KEY_DOWN, '-'}).does("decrease it", &Viewer::decrease),
        on("0", {'0'}).does("initial values of all parameters", &Viewer::resetParameters),
        on("r", {'r'}).does("remove the regions", &Viewer::removeRegions),
        on("c", {'c'}).does("learn the colours in the middle again", &Viewer::learnMiddle),
        on("b", {'b'}).does("this frame becomes the second picture", &Viewer::keepAsSecond),
        on("m", {'m'}).does("the filter in memory, and on textures", &Viewer::toggleMemory),
        on("Space", {' '}).does("stop, go on", &Viewer::togglePause),
        on(".", {'.'}).does("stop, one frame on", &Viewer::singleStep),
        on("o", {'o'}).does("the frame as it is, and back", &Viewer::toggleOriginal),
        on("i", {'i'}).does("line and frames off, on", &Viewer::toggleInfo),
        on("s", {'s'}).does("save the picture as PNG, here", &Viewer::savePicture),
        on("F1, h", {kSpecialKey + GLUT_KEY_F1, 'h'}).does("this list", &Viewer::toggleHelp),
        on("Esc, q", {kEscape, 'q'}).does("quit", &Viewer::quit),
    };
    return kCommands;
}

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
        for (const Command& command : commands())
            if (std::find(command.keys.begin(), command.keys.end(), key) != command.keys.end())
                (viewer.*command.run)();
        glutPostRedisplay();
    });
}

void onMouse(int button, int state, int x, int y)
{
    if (button != GLUT_LEFT_BUTTON && button != GLUT_RIGHT_BUTTON)
        return;
    withViewer([&](Viewer& viewer) {
        if (state == GLUT_DOWN)
            viewer.beginDrag(button == GLUT_RIGHT_BUTTON, {x, y});
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
    reportFailure(kProgramName, "cannot open a window: ", text);
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
    const cv::Size size = fits ? frame : fittedSize(frame, screen);
    glutInitWindowSize(size.width, size.height);
    glutSetOption(GLUT_ACTION_ON_WINDOW_CLOSE, GLUT_ACTION_GLUTMAINLOOP_RETURNS);
    glutCreateWindow(kProgramName);
}

void prepareDriver(const MessageLog& log)
{
    if (const GLenum error = glewInit(); error != GLEW_OK)
        throw std::runtime_error(std::string("cannot use OpenGL: ") +
                                 reinterpret_cast<const char*>(glewGetErrorString(error)));
    const MessageLog::Capture capture(log, STDOUT_FILENO);
    std::cout << glsupport::DriverAdapter::install();
    requireFilterSupport(reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
}

} // namespace

void runWindow(FrameSource& source, const MessageLog& log)
{
    openWindow(source.size());
    prepareDriver(log);
    shown.viewer = std::make_unique<Viewer>(source, log, helpLines());
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

std::vector<HelpLine> helpLines()
{
    std::vector<HelpLine> lines;
    for (const Command& command : commands())
        lines.push_back(command.help);
    lines.push_back({"Left drag", "a region of interest"});
    lines.push_back({"Right drag", "colours to learn"});
    return lines;
}

} // namespace velmor::examples

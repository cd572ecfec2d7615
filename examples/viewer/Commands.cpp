#include "examples/viewer/Commands.h"

#include "examples/viewer/Viewer.h"

#include <GL/freeglut.h>

namespace velmor::viewer {
namespace {

constexpr int kTab = '\t';
constexpr int kEscape = 27;

struct Command
{
    std::vector<int> keys;
    HelpLine help;
    void (Viewer::*run)();
};

const std::vector<Command>& commands()
{
    static const std::vector<Command> kCommands = {
        {{kSpecialKey + GLUT_KEY_RIGHT, 'n'}, {"Right, n", "next operator"}, &Viewer::nextOperator},
        {{kSpecialKey + GLUT_KEY_LEFT, 'p'}, {"Left, p", "previous operator"}, &Viewer::previousOperator},
        {{kTab}, {"Tab", "choose the next parameter"}, &Viewer::nextParameter},
        {{kSpecialKey + GLUT_KEY_UP, '+'}, {"Up, +", "increase it"}, &Viewer::increase},
        {{kSpecialKey + GLUT_KEY_DOWN, '-'}, {"Down, -", "decrease it"}, &Viewer::decrease},
        {{'0'}, {"0", "initial values of all parameters"}, &Viewer::resetParameters},
        {{'r'}, {"r", "remove the regions"}, &Viewer::removeRegions},
        {{'c'}, {"c", "learn the colours in the middle again"}, &Viewer::learnMiddle},
        {{'b'}, {"b", "this frame becomes the second picture"}, &Viewer::keepAsSecond},
        {{' '}, {"Space", "stop, go on"}, &Viewer::togglePause},
        {{'.'}, {".", "stop, one frame on"}, &Viewer::singleStep},
        {{'o'}, {"o", "the frame as it is, and back"}, &Viewer::toggleOriginal},
        {{'i'}, {"i", "line and frames off, on"}, &Viewer::toggleInfo},
        {{'s'}, {"s", "save the picture as PNG, here"}, &Viewer::savePicture},
        {{kSpecialKey + GLUT_KEY_F1, 'h'}, {"F1, h", "this list"}, &Viewer::toggleHelp},
        {{kEscape, 'q'}, {"Esc, q", "quit"}, &Viewer::quit},
    };
    return kCommands;
}

} // namespace

void runCommand(int key, Viewer& viewer)
{
    for (const Command& command : commands())
        for (const int each : command.keys)
            if (each == key)
                (viewer.*command.run)();
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

} // namespace velmor::viewer

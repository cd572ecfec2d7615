#pragma once

#include <string>
#include <vector>

namespace velmor::viewer {

class Viewer;

/// What GLUT reports as a special key stands above all characters.
constexpr int kSpecialKey = 0x100;

/// Carries out what a key stands for, if anything.
/// @param key  a character, or kSpecialKey + GLUT_KEY_...
void runCommand(int key, Viewer& viewer);

/// A line of the list of keys.
struct HelpLine
{
    std::string keys;
    std::string effect;
};

/// Keys and mouse, for people.
std::vector<HelpLine> helpLines();

} // namespace velmor::viewer

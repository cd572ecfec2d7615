#include "tests/viewer/ViewerTest.h"

#include "catalogue/Catalogue.h"

#include <X11/Xlib.h>

#include <chrono>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <thread>

namespace velmor::tests {
namespace {

const std::string kTitleStart = "velmor-viewer: ";
constexpr std::chrono::seconds kPatience(15); ///< for slow machines and sanitizers; nothing takes nearly as long

std::string titleOf(Display* display, unsigned long window)
{
    char* name = nullptr;
    if (XFetchName(display, window, &name) == 0 || !name)
        return {};
    const std::string result = name;
    XFree(name);
    return result;
}

std::size_t numberOf(const std::string& operatorName)
{
    const catalogue::Operator* const found = catalogue::find(operatorName);
    if (!found)
        throw std::runtime_error("there is no operator " + operatorName);
    return static_cast<std::size_t>(found - catalogue::operators().data());
}

} // namespace

ViewerTest::ViewerTest() : mDisplay(XOpenDisplay(nullptr))
{
    if (!mDisplay)
        throw std::runtime_error("ViewerTest: there is no X server");
}

ViewerTest::~ViewerTest()
{
    XCloseDisplay(mDisplay);
}

ProgramEnd ViewerTest::run(const Arguments& arguments, const Environment& environment)
{
    Words words = {VELMOR_VIEWER_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return runCommand(words, environment);
}

void ViewerTest::open(const std::string& file)
{
    startCommand({VELMOR_VIEWER_PROGRAM, file});
    await("there is a window", [this] {
        mWindow = findWindow();
        return mWindow != 0 && ShownWindow::of(mDisplay, mWindow).viewable;
    });
    // GLUT leaves the place to a window manager. There is none, so the window lies a pixel off the screen.
    xdotool("windowmove --sync " + std::to_string(mWindow) + " 0 0");
    awaitTitle("velmor-viewer: Not  ");
}

void ViewerTest::openBare(const std::string& file)
{
    open(file);
    press({"i"});
}

void ViewerTest::press(const std::vector<std::string>& keys) const
{
    // Without a window manager keys go to the window under the pointer.
    std::string arguments = "mousemove --window " + std::to_string(mWindow) + " 5 5 key --delay 0";
    for (const std::string& key : keys)
        arguments += " " + key;
    xdotool(arguments);
}

void ViewerTest::goTo(const std::string& name) const
{
    const std::string text = title();
    const std::size_t from = numberOf(text.substr(kTitleStart.size(), text.find("  ") - kTitleStart.size()));
    const std::size_t count = catalogue::operators().size();
    if (const std::size_t steps = (numberOf(name) + count - from) % count)
        press(std::vector<std::string>(steps, "n"));
    awaitTitle(kTitleStart + name + "  ");
}

void ViewerTest::drag(int button, const cv::Point& from, const cv::Point& to) const
{
    const auto move = [this](const cv::Point& place) {
        return "mousemove --window " + std::to_string(mWindow) + " " + std::to_string(place.x) + " " +
               std::to_string(place.y) + " ";
    };
    const std::string number = std::to_string(button);
    xdotool(move(from) + "mousedown " + number + " " + move((from + to) / 2) + move(to) + "mouseup " + number);
}

void ViewerTest::resize(const cv::Size& size) const
{
    xdotool("windowsize " + std::to_string(mWindow) + " " + std::to_string(size.width) + " " +
            std::to_string(size.height));
    await("the window has its new size", [&] { return shown().size() == size; });
}

void ViewerTest::closeWindow() const
{
    XEvent event = {};
    event.xclient.type = ClientMessage;
    event.xclient.window = mWindow;
    event.xclient.message_type = XInternAtom(mDisplay, "WM_PROTOCOLS", 0);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(mDisplay, "WM_DELETE_WINDOW", 0));
    XSendEvent(mDisplay, mWindow, 0, NoEventMask, &event);
    XFlush(mDisplay);
}

std::string ViewerTest::title() const
{
    return titleOf(mDisplay, mWindow);
}

cv::Mat ViewerTest::shown() const
{
    const ShownWindow window = ShownWindow::of(mDisplay, mWindow);
    const auto pixels = window.pixels();
    cv::Mat result(static_cast<int>(window.height), static_cast<int>(window.width), CV_8UC3);
    for (int y = 0; y < result.rows; ++y)
        for (int x = 0; x < result.cols; ++x) {
            const auto row = static_cast<std::size_t>(result.rows - 1 - y);
            const auto& colour = pixels[row * window.width + static_cast<std::size_t>(x)];
            for (int channel = 0; channel < 3; ++channel)
                result.at<cv::Vec3b>(y, x)[channel] =
                    static_cast<unsigned char>(colour[static_cast<std::size_t>(2 - channel)]);
        }
    return result;
}

cv::Mat ViewerTest::stillPicture(std::chrono::milliseconds unchanged) const
{
    using Clock = std::chrono::steady_clock;
    cv::Mat picture = shown();
    Clock::time_point since = Clock::now();
    await("the picture is still", [&] {
        const cv::Mat now = shown();
        if (largestDifference(now, picture) > 0) {
            picture = now;
            since = Clock::now();
        }
        return Clock::now() - since > unchanged;
    });
    return picture;
}

void ViewerTest::await(const std::string& what, const std::function<bool()>& holds) const
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("waited in vain: " + what);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void ViewerTest::awaitTitle(const std::string& beginning) const
{
    await("the title is " + beginning, [&] { return title().rfind(beginning, 0) == 0; });
}

void ViewerTest::awaitPicture(const cv::Mat& expected, double tolerance) const
{
    await("the window shows the expected picture", [&] { return largestDifference(shown(), expected) <= tolerance; });
}

ProgramEnd ViewerTest::quit()
{
    press({"q"});
    const ProgramEnd end = wait();
    expectSuccess(end);
    return end;
}

void ViewerTest::xdotool(const std::string& arguments) const
{
    if (std::system(("xdotool " + arguments).c_str()) != 0)
        throw std::runtime_error("xdotool " + arguments + " fails");
}

unsigned long ViewerTest::findWindow() const
{
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    XQueryTree(mDisplay, DefaultRootWindow(mDisplay), &root, &parent, &children, &count);
    unsigned long found = 0;
    for (unsigned i = 0; i < count; ++i)
        if (titleOf(mDisplay, children[i]).rfind("velmor-viewer", 0) == 0)
            found = children[i];
    XFree(children);
    return found;
}

double largestDifference(const cv::Mat& a, const cv::Mat& b)
{
    if (a.size() != b.size())
        return std::numeric_limits<double>::infinity();
    cv::Mat first, second;
    a.convertTo(first, CV_32F);
    b.convertTo(second, CV_32F);
    return cv::norm(first, second, cv::NORM_INF);
}

} // namespace velmor::tests

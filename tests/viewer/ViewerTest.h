#pragma once

#include "tests/support/ProgramTest.h"
#include "tests/support/ShownWindow.h"

#include <opencv2/core.hpp>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace velmor::tests {

/// Runs the built viewer on the X server of the test, types on it, draws with its mouse, and looks at what it shows.
class ViewerTest : public ProgramTest
{
protected:
    using Arguments = std::vector<std::string>;

    ViewerTest();
    ~ViewerTest() override;

    /// Runs the viewer to its end.
    ProgramEnd run(const Arguments& arguments, const Environment& environment = {});

    /// Starts the viewer on a file, and waits until it shows something.
    void open(const std::string& file);

    /// Likewise, with nothing drawn over the picture.
    void openBare(const std::string& file);

    /// Presses keys, by their X names, one after another.
    void press(const std::vector<std::string>& keys) const;

    /// Goes on to an operator; those between are passed over.
    void goTo(const std::string& name) const;

    static constexpr int kLeft = 1;
    static constexpr int kRight = 3;

    /// Drags with the pressed button from one pixel of the window to another.
    void drag(int button, const cv::Point& from, const cv::Point& to) const;

    void resize(const cv::Size& size) const;

    /// As the window manager does when the user closes the window.
    void closeWindow() const;

    std::string title() const;

    /// The pixels of the window, 8-bit BGR, rows from the top.
    cv::Mat shown() const;

    /// What the window shows when it has not changed for that long; the times in the line change each half a second.
    cv::Mat stillPicture(std::chrono::milliseconds unchanged = std::chrono::seconds(1)) const;

    /// Waits until something holds; a failure after some seconds.
    void await(const std::string& what, const std::function<bool()>& holds) const;

    /// Waits for the title's beginning.
    void awaitTitle(const std::string& beginning) const;

    /// Waits until the window shows a picture.
    /// @param expected   8-bit or CV_32F, three channels, BGR on 0..255
    /// @param tolerance  of each channel
    void awaitPicture(const cv::Mat& expected, double tolerance = 0) const;

    /// Presses q; the viewer ends well and has had nothing to complain about.
    ProgramEnd quit();

private:
    void xdotool(const std::string& arguments) const;
    unsigned long findWindow() const;

    _XDisplay* mDisplay;
    unsigned long mWindow = 0;
};

/// Largest difference of two pictures in any channel; huge when their sizes differ.
double largestDifference(const cv::Mat& a, const cv::Mat& b);

} // namespace velmor::tests

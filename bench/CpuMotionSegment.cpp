#include "bench/CpuOperators.h"
#include "cvprocess/MotionSegment.h"
#include "math/Vector2.h"

#include <ctime>
#include <memory>
#include <opencv2/optflow/motempl.hpp>

namespace velmor::bench {
namespace {

using core::cvdata::Image;

Comparison massCentre(const Size& size)
{
    const auto frame = std::make_shared<Image>(cameraFrames(1, size, Image::GREYSCALE)[0]);
    const auto motion = std::make_shared<cvprocess::MotionSegment>(1, 1);
    const auto centre = std::make_shared<math::Vector2>();
    const auto moments = std::make_shared<cv::Moments>();
    const auto getMassCenter = [=] {
        motion->getMassCenter(frame.get(), centre.get());
    };
    const auto opencv = [=] {
        *moments = cv::moments(frame->mat());
    };
    getMassCenter();
    opencv();
    expect((*centre)[0] == moments->m10 / moments->m00 && (*centre)[1] == moments->m01 / moments->m00,
           "the centre of mass");
    return {{}, getMassCenter, "cv::moments", opencv, 0.15};
}

struct History
{
    explicit History(const Size& size)
        : frames(cameraFrames(10, size, Image::BGR)), output(size.width, size.height, Image::GREYSCALE),
          motion(static_cast<int>(size.width), static_cast<int>(size.height)),
          silhouette(cv::Mat::zeros(output.mat().size(), CV_8U)), history(cv::Mat::zeros(silhouette.size(), CV_32F))
    {
    }
    void getMHI() { motion.getMHI(&frames[own++ % frames.size()], &output); }
    void opencv()
    {
        const double now = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
        cv::cvtColor(frames[other++ % frames.size()].mat(), grey, cv::COLOR_BGR2GRAY);
        cv::absdiff(grey, silhouette, silhouette);
        cv::threshold(silhouette, silhouette, 20.0, 1.0, cv::THRESH_BINARY);
        cv::motempl::updateMotionHistory(silhouette, history, now, 0.4);
        history.convertTo(shown, CV_8U, 255.0 / 0.4, (0.4 - now) * 255.0 / 0.4);
        std::swap(grey, silhouette);
    }
    bool agree()
    {
        // The times of the calls differ a little; what moves in this very call does not.
        const auto moves = [](const cv::Mat& times) {
            double now = 0.0;
            cv::minMaxLoc(times, nullptr, &now);
            return cv::Mat(times == now);
        };
        const cv::Mat moving = moves(cv::cvarrToMat(motion.getMHIImage()));
        return cv::countNonZero(moving) > 0 && equal(moving, moves(history)) &&
               equal(moving, (output.mat() == 255) & moving);
    }

    std::vector<Image> frames;
    Image output;
    cvprocess::MotionSegment motion;
    cv::Mat grey, silhouette, history, shown;
    std::size_t own = 0, other = 0;
};

Comparison motionHistory(const Size& size)
{
    const auto history = std::make_shared<History>(size);
    // Until the first frame, where everything moves, is forgotten, as in any program that has run for a moment.
    const std::clock_t start = std::clock();
    do {
        history->getMHI();
        history->opencv();
        expect(history->agree(), "the motion history");
    } while (std::clock() - start < CLOCKS_PER_SEC);
    return {{}, [=] { history->getMHI(); }, "OpenCV's_calls", [=] { history->opencv(); }, 0.6};
}

} // namespace

void addMotionSegment()
{
    for (const Size& size : kFrameSizes) {
        add(std::string("MotionSegment/getMassCenter/") + size.name, [=] { return massCentre(size); });
        add(std::string("MotionSegment/getMHI/") + size.name, [=] { return motionHistory(size); });
    }
}

} // namespace velmor::bench

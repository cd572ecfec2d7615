// Follows a colour through a video. The colour is learnt from a patch of the first frame, given by its left, top, width
// and height, and found again in each frame on the GPU; of its regions the one nearest to the last place is followed:
//     colour_tracking video.avi tracked.avi 658 256 16 32
// Prints for each frame how many pixels have the colour and where the region is, and draws its path over the
// video. An error ends the video there.

#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/Image.h"
#include "cvprocess/Moments.h"
#include "cvprocess/gpuStdShaders/ColorGMM.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "glsupport/HeadlessContext.h"
#include "glsupport/RectTexture.h"

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace velmor;
using core::cvdata::Blobs;
using core::cvdata::Image;
using glsupport::RectTexture;
using ColourModel = core::cvdata::ColorGMM;

const cv::Scalar kMarkColour(0, 60, 230);

ColourModel learn(const cv::Mat& patch)
{
    Image samples(static_cast<unsigned>(patch.cols), static_cast<unsigned>(patch.rows), Image::RGB);
    cv::Mat pixels = samples.mat();
    cv::cvtColor(patch, pixels, cv::COLOR_BGR2RGB); // red and green first, as the filter sees them
    ColourModel model;
    model.train(samples, nullptr, 2);
    return model;
}

/// Finds the pixels of a colour, on the GPU.
class ColourFinder
{
public:
    ColourFinder(unsigned width, unsigned height, ColourModel& colour)
        : mFrame(width, height, RectTexture::RGB8), mMask(width, height, RectTexture::R32F),
          mSums(width, height, RectTexture::R32UI), mFilter(&colour, &mParam)
    {
        mFilter.prepareExecution(mFrame, mMask);
        mCounter.setMaxNofTiles(std::min(mCounter.getNofTiles(), width - 1)); // fewer than the frame is wide
        mCounter.prepareExecution(mMask, mSums);
    }

    /// Writes the mask of a frame; the number of pixels set in it.
    unsigned find(const Image& frame, Image& mask)
    {
        mFrame.upload(frame);
        mFilter.execute();
        mCounter.execute();
        const unsigned count = mCounter.getCount();
        mMask.download(mask);
        return count;
    }

private:
    RectTexture mFrame, mMask, mSums;
    cvprocess::ColorGMM::Param mParam{true}; ///< white for the colour, black elsewhere
    cvprocess::ColorGMM mFilter;
    cvprocess::PixelCount mCounter;
};

/// The region nearest to a place; null when none is within reach.
const Blobs::BlobInfo* nearest(const Blobs& regions, const cv::Point2d& place, double reach)
{
    const Blobs::BlobInfo* result = nullptr;
    for (const Blobs::BlobInfo& region : regions.blobs) {
        const double distance = cv::norm(cv::Point2d(region.x, region.y) - place);
        if (distance < reach) {
            reach = distance;
            result = &region;
        }
    }
    return result;
}

void track(cv::VideoCapture& video, cv::VideoWriter& writer, cv::Mat frame, const cv::Rect& patch)
{
    ColourModel colour = learn(frame(patch));
    const glsupport::HeadlessContext context;
    Image mask(static_cast<unsigned>(frame.cols), static_cast<unsigned>(frame.rows), Image::GREYSCALE);
    ColourFinder finder(mask.width(), mask.height(), colour);
    cvprocess::Moments moments;
    Blobs regions;
    cv::Point2d place = (patch.tl() + patch.br()) / 2;
    std::vector<cv::Point> path;
    int number = 0;
    do {
        const Image view(mask.width(), mask.height(), Image::BGR, frame.data, static_cast<unsigned>(frame.step));
        const unsigned count = finder.find(view, mask);
        moments.findBlobs(mask, regions, -1, patch.area() / 4.0);
        std::cout << "frame " << ++number << ": " << count << " pixels, ";
        if (const auto* region = nearest(regions, place, 2.0 * std::max(patch.width, patch.height))) {
            place = {region->x, region->y};
            path.push_back(place);
            std::cout << "at " << path.back() << '\n';
            const cv::Size axes(cvRound(region->majorAxis), cvRound(region->minorAxis));
            cv::ellipse(frame, path.back(), axes, region->angle, 0, 360, kMarkColour, 2, cv::LINE_AA);
        } else {
            std::cout << "lost\n";
        }
        cv::polylines(frame, path, false, kMarkColour, 2, cv::LINE_AA);
        writer.write(frame);
    } while (video.read(frame));
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (argc != 7)
            throw std::invalid_argument("expected a video to read, one to write, and left, top, width, height");
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT); // errors are reported below, in one line
        setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);
        cv::VideoCapture video(argv[1], cv::CAP_FFMPEG);
        cv::Mat frame;
        if (!video.read(frame))
            throw std::runtime_error("cannot read '" + std::string(argv[1]) + "': it is no video");
        const cv::Rect patch(std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]), std::atoi(argv[6]));
        if (patch.width < 2 || patch.x < 0 || patch.width > frame.cols - patch.x || //
            patch.height < 2 || patch.y < 0 || patch.height > frame.rows - patch.y)
            throw std::invalid_argument("expected a patch of at least 2 x 2 pixels inside the frame");
        cv::VideoWriter writer(argv[2], cv::CAP_OPENCV_MJPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'),
                               std::max(1.0, video.get(cv::CAP_PROP_FPS)), frame.size());
        if (!writer.isOpened())
            throw std::runtime_error("cannot write '" + std::string(argv[2]) + "', which is to be an .avi file");
        track(video, writer, frame, patch);
    } catch (const std::exception& error) {
        std::cerr << "colour_tracking: " << error.what() << '\n';
        return 1;
    }
}

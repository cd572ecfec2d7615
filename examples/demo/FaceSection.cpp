#include "examples/demo/FaceSection.h"

#include "core/cvdata/Image.h"
#include "cvprocess/FaceDetect.h"
#include "examples/demo/Interruption.h"
#include "examples/demo/MedianTime.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Faces.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Marks.h"
#include "imageio/ImageIo.h"

#include <filesystem>

namespace velmor::demo {
namespace {

using core::cvdata::Image;

const char* const kPhotograph = "/usr/share/doc/opencv-doc/examples/data/messi5.jpg";

std::string facesFound(const std::vector<math::Vector4>& faces)
{
    if (faces.empty())
        return "no faces";
    const cv::Rect first = faceRectangle(faces.front());
    return countText(static_cast<int>(faces.size()), "face") + ", at " + pointText(first.tl()) + ", " +
           sizeText(first.size()) + " pixels";
}

} // namespace

void showFaces(const Scene&, Showcase& showcase)
{
    for (const char* const file : {kPhotograph, kFaceCascade})
        if (!std::filesystem::exists(file)) {
            showcase.leaveOut("faces", std::string("left out, as there is no ") + file);
            return;
        }
    Interruption::throwIfRequested();
    const Image photograph = imageio::load(kPhotograph, Image::BGR);
    showcase.showPicture("Photograph", photograph.mat(), "One of opencv-doc");
    cvprocess::FaceDetect detector(kFaceCascade);
    std::vector<math::Vector4> faces;
    const double milliseconds = medianMilliseconds([&] { detector.findFaces(&photograph, faces); });

    cv::Mat picture = photograph.mat().clone();
    Marks marks(picture);
    for (const math::Vector4& face : faces)
        marks.rectangle(faceRectangle(face));
    showcase.showResult("FaceDetect", picture, milliseconds, facesFound(faces),
                        "Framed: what the cascade takes for a face");
}

} // namespace velmor::demo

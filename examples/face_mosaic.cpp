// Makes faces in a picture unrecognisable:
//     face_mosaic photograph.jpg mosaic.png

#include "core/cvdata/Image.h"
#include "cvprocess/FaceDetect.h"
#include "imageio/ImageIo.h"
#include "math/Vector4.h"

#include <opencv2/imgproc.hpp>

#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace velmor;
using core::cvdata::Image;

const char* const kCascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml"; ///< of opencv-data
const cv::Size kTiles(8, 8);                                                                    ///< of a face

void coverWithTiles(cv::Mat face)
{
    cv::Mat tiles;
    cv::resize(face, tiles, kTiles, 0, 0, cv::INTER_AREA);
    cv::resize(tiles, face, face.size(), 0, 0, cv::INTER_NEAREST);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (argc != 3)
            throw std::invalid_argument("expected a picture to read and a picture to write");
        if (!std::filesystem::exists(kCascade)) // the detector stops the program without it
            throw std::runtime_error("there is no " + std::string(kCascade));
        const Image picture = imageio::load(argv[1], Image::BGR);
        cvprocess::FaceDetect detector(kCascade);
        std::vector<math::Vector4> faces;
        detector.findFaces(&picture, faces);
        for (const math::Vector4& face : faces)
            coverWithTiles(picture.mat()(cv::Rect2d(face[0], face[1], face[2], face[3])));
        imageio::save(picture, argv[2]);
        std::cout << "faces: " << faces.size() << '\n';
    } catch (const std::exception& error) {
        std::cerr << "face_mosaic: " << error.what() << '\n';
        return 1;
    }
}

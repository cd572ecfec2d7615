// Finds the edges of a picture on the GPU:
//     first_filter photograph.jpg edges.png

#include "core/cvdata/Image.h"
#include "cvprocess/gpuStdShaders/Laplacian.h"
#include "glsupport/HeadlessContext.h"
#include "glsupport/RectTexture.h"
#include "imageio/ImageIo.h"

#include <iostream>
#include <stdexcept>

using namespace velmor;
using core::cvdata::Image;
using glsupport::RectTexture;

int main(int argc, char** argv)
{
    try {
        if (argc != 3)
            throw std::invalid_argument("expected a picture to read and a picture to write");
        Image picture = imageio::load(argv[1], Image::BGR);
        glsupport::HeadlessContext context; // before all textures and filters, so that it outlives them
        RectTexture source(picture.width(), picture.height(), RectTexture::RGB8);
        RectTexture edges(picture.width(), picture.height(), RectTexture::RGB8);
        cvprocess::Laplacian laplacian(nullptr);
        laplacian.prepareExecution(source, edges);
        source.upload(picture); // for each further picture of this size from here
        laplacian.execute();
        edges.download(picture);
        imageio::save(picture, argv[2]);
    } catch (const std::exception& error) {
        std::cerr << "first_filter: " << error.what() << '\n';
        return 1;
    }
}

#include "catalogue/Catalogue.h"

#include <algorithm>

namespace velmor::catalogue {
namespace {

// ---- What entries are made of

Operator filter(const std::string& name, const std::string& meaning)
{
    Operator result;
    result.name = name;
    result.meaning = meaning;
    return result;
}

Operator filterOfTwo(const std::string& name, const std::string& meaning)
{
    Operator result = filter(name, meaning);
    result.sources = 2;
    return result;
}

Operator filter(const std::string& name, const std::string& meaning, Data takes, Data gives)
{
    Operator result = filter(name, meaning);
    result.takes = takes;
    result.gives = gives;
    return result;
}

Operator cpuOperator(const std::string& name, const std::string& meaning, Data takes, Data gives)
{
    Operator result = filter(name, meaning, takes, gives);
    result.kind = Kind::CPU_OPERATOR;
    result.regions = Regions::NONE;
    return result;
}

Operator needing(Need need, Operator result)
{
    result.need = need;
    return result;
}

/// A number that is initially the least allowed.
Parameter number(const std::string& name, const std::string& meaning, double least, double most)
{
    Parameter result;
    result.name = name;
    result.meaning = meaning;
    result.initial = result.least = least;
    result.most = most;
    result.isWhole = false;
    return result;
}

Parameter wholeNumber(const std::string& name, const std::string& meaning, double least, double most)
{
    Parameter result = number(name, meaning, least, most);
    result.isWhole = true;
    return result;
}

/// One of a few words, the first one unless set.
Parameter choice(const std::string& name, const std::string& meaning, const std::vector<std::string>& words)
{
    Parameter result = wholeNumber(name, meaning, 0, static_cast<double>(words.size() - 1));
    result.choices = words;
    return result;
}

// ---- Filters with parameters, or with needs of their own

Operator laplacian()
{
    Operator result = filter("Laplacian", "Shows how far each pixel differs from those around it");
    result.parameters = {choice("kernel", "which neighbours count, and how much",
                                {"eight around", "four beside", "eight, corners less"})};
    return result;
}

Operator flipV()
{
    Operator result = filter("FlipV", "Turns the picture upside down");
    result.regions = Regions::NONE;
    return result;
}

Operator colorGMM()
{
    Operator result = needing(Need::ONE_MODEL, filter("ColorGMM", "Keeps the pixels whose colour a model accounts for",
                                                      Data::COLOUR, Data::MASK));
    result.parameters = {
        choice("output", "whether kept pixels are white, as a mask, or keep their colours", {"mask", "colours"})};
    return result;
}

Operator colorHistShader()
{
    Operator result =
        filterOfTwo("ColorHistShader", "Counts how often each colour occurs; the second source is not read");
    result.takes = Data::COLOUR;
    result.gives = Data::HISTOGRAM;
    result.regions = Regions::FIRST;
    result.need = Need::SIZE;
    Parameter bins = wholeNumber("bins", "into how many ranges each channel is cut", 2, 10);
    bins.initial = 4;
    bins.step = 2; // cells beyond a multiple of four are not counted
    Parameter block = wholeNumber("block", "side of the blocks that are counted at a time, in pixels", 1, 100);
    block.initial = 10;
    result.parameters = {bins, block};
    return result;
}

Operator pixelCount()
{
    Operator result = filter("PixelCount", "Counts the pixels of a mask", Data::MASK, Data::COUNTS);
    result.regions = Regions::NONE;
    Parameter tiles = wholeNumber("tiles", "how many tiles to count in; fewer than the destination is wide", 16, 1024);
    tiles.initial = 256;
    tiles.step = 16;
    result.parameters = {tiles};
    return result;
}

// ---- Operators on images in main memory

Operator colourDetector()
{
    Operator result = needing(Need::ONE_MODEL,
                              cpuOperator("ColourDetector", "Marks the pixels whose colour a model takes for its own",
                                          Data::COLOUR, Data::MASK));
    result.parameters = {choice("morphology", "whether what is narrower than three pixels goes", {"off", "on"})};
    return result;
}

Operator colourHist2D()
{
    Operator result =
        cpuOperator("ColourHist2D", "Tells how often each colour occurs in a region", Data::COLOUR, Data::HISTOGRAM);
    result.regions = Regions::FIRST;
    Parameter bins = wholeNumber("bins", "into how many ranges each channel is cut", 2, 32);
    bins.initial = 8;
    bins.step = 2;
    result.parameters = {bins};
    return result;
}

Operator moments()
{
    Operator result =
        cpuOperator("Moments", "Finds the connected regions of a mask and their axes", Data::MASK, Data::BLOBS);
    Parameter area = number("least-area", "size that a region has to exceed, in pixels", 0, 5000);
    area.initial = area.step = 50;
    Parameter most = wholeNumber("most-regions", "how many regions to find at most; -1 for all", -1, 50);
    result.parameters = {area, most};
    return result;
}

Operator faceDetect()
{
    Operator result =
        needing(Need::CASCADE, cpuOperator("FaceDetect", "Finds faces, or whatever its cascade was trained for",
                                           Data::PICTURE, Data::RECTANGLES));
    result.parameters = {wholeNumber("reduced", "by how much the picture is made narrower and lower first", 1, 4)};
    return result;
}

} // namespace

bool isPicture(Data data)
{
    switch (data) {
    case Data::PICTURE:
    case Data::COLOUR:
    case Data::GREY:
    case Data::MOSAIC:
    case Data::MASK:
    case Data::GRADIENTS:
        return true;
    case Data::DIRECTIONS:
    case Data::INTEGERS:
    case Data::CLASSES:
    case Data::COUNTS:
    case Data::HISTOGRAM:
    case Data::BLOBS:
    case Data::RECTANGLES:
        break;
    }
    return false;
}

const std::vector<Operator>& operators()
{
    static const std::vector<Operator> kOperators = {
        filter("Not", "Turns each channel into what is missing to 1"),
        filterOfTwo("Subtract", "Gives the absolute difference of two pictures"),
        filterOfTwo("And", "Gives 1 where a channel is above 0 in both pictures, else 0"),
        filterOfTwo("Or", "Adds two pictures, and stops at 1"),
        filterOfTwo("Xor", "Gives the second picture less the first where no channel falls, else 0"),
        filterOfTwo("Classify", "Does what Xor does, as a filter of its own"),
        filter("BGR2GRAY", "Gives the luminance of a colour picture", Data::COLOUR, Data::GREY),
        filter("RGB2GRAY", "Gives the luminance, exactly as BGR2GRAY", Data::COLOUR, Data::GREY),
        filter("BGR2HSV", "Gives value in red, saturation in green and hue in blue", Data::COLOUR, Data::COLOUR),
        filter("RGB2HSV", "Exchanges red and blue, then does what BGR2HSV does", Data::COLOUR, Data::COLOUR),
        filter("BayerRG2RGB", "Makes colours of the mosaic of a Bayer sensor", Data::MOSAIC, Data::COLOUR),
        filter("BayerRG2GRAY", "Makes the luminance of the mosaic of a Bayer sensor", Data::MOSAIC, Data::GREY),
        filter("GRAY2Sobel", "Finds edges, as Sobel gradients and their strength", Data::GREY, Data::GRADIENTS),
        filter("NonMaxSupression", "Thins edges to where the gradient is largest", Data::DIRECTIONS, Data::GREY),
        laplacian(),
        flipV(),
        filter("DebugUInt2Float", "Makes unsigned integers visible", Data::INTEGERS, Data::PICTURE),
        colorGMM(),
        needing(Need::MODELS, filter("ColorGMM2", "Tells of each pixel which of several models it is most like",
                                     Data::COLOUR, Data::CLASSES)),
        colorHistShader(),
        pixelCount(),
        colourDetector(),
        colourHist2D(),
        moments(),
        needing(Need::SIZE, cpuOperator("MotionSegment", "Shows where pixels moved last, fading with time",
                                        Data::COLOUR, Data::GREY)),
        faceDetect(),
    };
    return kOperators;
}

const Operator* find(const std::string& name)
{
    const auto found = std::find_if(operators().begin(), operators().end(),
                                    [&name](const Operator& each) { return each.name == name; });
    return found == operators().end() ? nullptr : &*found;
}

} // namespace velmor::catalogue

#pragma once

#include "catalogue/Export.h"

#include <opencv2/core/types.hpp>

#include <map>
#include <string>
#include <vector>

namespace velmor::core::cvdata {
class ColorGMM;
}

namespace velmor::catalogue {

/// A number that an operator is set with.
struct Parameter
{
    std::string name;                 ///< in lower case, words joined by hyphens
    std::string meaning;              ///< what the number says
    double initial = 0;               ///< taken where no value is given
    double least = 0;                 ///< smallest value allowed
    double most = 1;                  ///< largest value allowed
    double step = 1;                  ///< by how much a knob changes it; values in between are allowed
    bool isWhole = true;              ///< whether only whole numbers are allowed
    std::vector<std::string> choices; ///< a word for each value from 0 on; empty where the number speaks for itself
};

/// What an operator runs on, and so who makes it.
enum class Kind
{
    FILTER,      ///< textures: makeGpu()
    CPU_OPERATOR ///< images in main memory: makeCpu()
};

/// What an operator takes or gives.
///
/// Filters take it as a texture of bytes, as RectTexture::RGBA8, or of floats, and give it to a texture of floats, as
/// RectTexture::RGBA32F, without loss. Integers and counts go by textures of integers, as RectTexture::R32UI.
enum class Data
{
    PICTURE,    ///< any number of channels, each treated alike
    COLOUR,     ///< three channels, on 0..1 in textures; images are RGB
    GREY,       ///< one channel, a texture's red
    MOSAIC,     ///< one channel, a texture's red: what a Bayer sensor sees, with red in the upper left corner
    GRADIENTS,  ///< level edges, upright edges and strength, the first two signed
    DIRECTIONS, ///< strength, and the gradient's direction with 0.5 for 0 in green and blue
    INTEGERS,   ///< unsigned integers
    MASK,       ///< nothing is 0, all is 1 in textures and 255 in images
    CLASSES,    ///< the number of a class, a texture's red
    COUNTS,     ///< sums of parts of the picture
    HISTOGRAM,  ///< how often each colour occurs
    BLOBS,      ///< regions, each with its place, size and axes
    RECTANGLES  ///< upright rectangles
};

/// Whether data are a picture, which the next filter of a chain takes and a person can look at.
VELMOR_CATALOGUE_EXPORT bool isPicture(Data data);

/// What an operator makes of regions of interest.
enum class Regions
{
    EACH,  ///< it works in each of them, and nowhere else
    FIRST, ///< it works in the first one alone
    NONE   ///< it always works on the whole picture
};

/// What an operator needs beside numbers; see Given.
enum class Need
{
    NOTHING,
    ONE_MODEL, ///< one colour model, in Given::models
    MODELS,    ///< a colour model for each class, in Given::models
    SIZE,      ///< the size of the pictures, in Given::size
    CASCADE    ///< a cascade file, in Given::cascadeFile
};

/// An operator, told by its name.
struct Operator
{
    std::string name;                  ///< of its class
    std::string meaning;               ///< what it does, in one sentence without a full stop
    Kind kind = Kind::FILTER;          ///< what it runs on
    int sources = 1;                   ///< how many pictures or textures it takes
    Data takes = Data::PICTURE;        ///< what they hold
    Data gives = Data::PICTURE;        ///< what it makes of them
    Regions regions = Regions::EACH;   ///< what it makes of regions of interest
    Need need = Need::NOTHING;         ///< what it needs beside numbers
    std::vector<Parameter> parameters; ///< the numbers that it is set with
};

/// Values of parameters by name. Parameters that are left out have their initial values.
using Values = std::map<std::string, double>;

/// What an operator is given beside numbers. Each takes what it needs, and leaves the rest.
struct Given
{
    std::vector<core::cvdata::ColorGMM*> models; ///< borrowed: they outlive the operator
    cv::Size size;                               ///< of the pictures
    cv::Rect region;                             ///< what ColourHist2D counts; empty for the whole picture
    std::string cascadeFile;                     ///< of what FaceDetect looks for
};

/// All operators. Their order is that in which a user meets them.
VELMOR_CATALOGUE_EXPORT const std::vector<Operator>& operators();

/// The operator of a name, null where there is none.
///
/// Example:
///
///     for (const catalogue::Parameter& parameter : catalogue::find("Laplacian")->parameters)
///         std::cout << parameter.name << ": " << parameter.meaning << '\n';
VELMOR_CATALOGUE_EXPORT const Operator* find(const std::string& name);

} // namespace velmor::catalogue

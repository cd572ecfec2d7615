#include "tests/support/MixtureRules.h"

#include <random>

namespace velmor::tests {

using core::cvdata::ColorGMM;
using core::cvdata::GM;

Gaussian gaussian(double meanRed, double meanGreen, double varianceRed, double covariance, double varianceGreen,
                  float weight)
{
    const double determinant = varianceRed * varianceGreen - covariance * covariance;
    return {{{varianceGreen / determinant, -covariance / determinant},
             {-covariance / determinant, varianceRed / determinant}},
            static_cast<float>(determinant),
            {meanRed, meanGreen},
            weight};
}

double density(const ColorGMM& model, const Texel& colour)
{
    double sum = 0.0;
    for (const auto& component : model.mixture) {
        const GM& gm = *component;
        const double red = 255.0 * colour[0] - gm.mean[0];
        const double green = 255.0 * colour[1] - gm.mean[1];
        const double form = red * red * gm.invCovariance[0][0] + green * green * gm.invCovariance[1][1] +
                            red * green * (gm.invCovariance[0][1] + gm.invCovariance[1][0]);
        sum += gm.weight * std::exp(-form / 2.0) / (2.0 * 3.14159265358979 * std::sqrt(gm.determinant));
    }
    return sum;
}

Picture allColours()
{
    Picture picture(256, 256);
    for (unsigned green = 0; green < 256; ++green)
        for (unsigned red = 0; red < 256; ++red)
            picture.at(red, green) = {static_cast<float>(red) / 255.0f, static_cast<float>(green) / 255.0f, 0.25f,
                                      0.75f};
    return picture;
}

Picture decidedPicture(unsigned width, unsigned height, unsigned seed,
                       const std::function<bool(const Texel& colour)>& decided)
{
    Picture picture = randomPicture(width, height, seed);
    std::mt19937 random(seed);
    for (Texel& colour : picture.texels)
        while (!decided(colour))
            for (float& channel : colour)
                channel = static_cast<float>(random() % 65536) / 65535.0f;
    return picture;
}

double separatingThreshold(const ColorGMM& model, double wished)
{
    std::vector<double> near;
    for (const Texel& colour : allColours().texels) {
        const double each = density(model, colour);
        if (wished / 2.0 < each && each < 2.0 * wished)
            near.push_back(each);
    }
    std::sort(near.begin(), near.end());
    double widest = 0.0, threshold = wished;
    for (std::size_t i = 1; i < near.size(); ++i) {
        const double gap = near[i] / near[i - 1];
        if (gap > widest) {
            widest = gap;
            threshold = std::sqrt(near[i] * near[i - 1]);
        }
    }
    return threshold;
}

} // namespace velmor::tests

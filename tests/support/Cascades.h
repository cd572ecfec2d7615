#pragma once

#include "tests/support/TemporaryFolder.h"

#include <filesystem>
#include <string>

namespace velmor::tests {

/// Small cascades, with what each format can say: the new one with Haar features, with local binary patterns, and the
/// old one. The first and the last find what is brighter on the right.
inline const std::string kSmallCascades[] = {VELMOR_TEST_CASCADES "/haar.xml", VELMOR_TEST_CASCADES "/lbp.xml",
                                             VELMOR_TEST_CASCADES "/old.xml"};

/// The one cascade of opencv-data in the old format. Its name has changed with OpenCV 4.10.
inline std::string oldFormatCascade()
{
    const std::string folder = "/usr/share/opencv4/haarcascades/haarcascade_";
    const std::string today = folder + "license_plate_rus_16stages.xml";
    return std::filesystem::exists(today) ? today : folder + "licence_plate_rus_16stages.xml";
}

/// A text with a part replaced, which is in it once.
inline std::string replaced(std::string text, const std::string& part, const std::string& by)
{
    const std::size_t place = text.find(part);
    EXPECT_NE(place, std::string::npos) << part;
    EXPECT_EQ(text.find(part, place + 1), std::string::npos) << part;
    return place == std::string::npos ? text : text.replace(place, part.size(), by);
}

/// A cascade that names a feature which it does not have: loaders that believe it read anywhere.
inline std::string cascadeWithoutItsFeature()
{
    return replaced(contentOf(kSmallCascades[0]), "0 -1 0 1.2e-03", "0 -1 1000000 1.2e-03");
}

/// A file that ends like a cascade, with zeros in its first tag: parsers that believe it read beyond its end.
inline std::string cascadeWithZeros()
{
    return "<?xml version=" + std::string(40, '\0') + "\"1.0\"?>\n2.</t>-1</next>";
}

} // namespace velmor::tests

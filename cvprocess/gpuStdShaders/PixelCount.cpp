#include "cvprocess/gpuStdShaders/PixelCount.h"

#include "cvprocess/gpuStdShaders/internal/Announcements.h"
#include "math/Math.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <iostream>
#include <numeric>

namespace velmor::cvprocess {
namespace {

const char* const kFragmentSource = R"(#extension GL_EXT_gpu_shader4 : enable // important for integer texture
#extension GL_ARB_texture_rectangle : enable

varying out uvec4 fragDataOut; // important for integer texture
flat varying uvec4 counter;

void main(void)
{
    fragDataOut = counter;
}
)";

const char* const kVertexSource = R"(#extension GL_EXT_gpu_shader4 : enable // important for integer texture
#extension GL_ARB_texture_rectangle : enable

uniform sampler2DRect texUnit0;
flat varying out uvec4 counter;

void main(void)
{
    float xmin = gl_MultiTexCoord0.s;
    float ymin = gl_MultiTexCoord0.t;
    float xmax = gl_MultiTexCoord0.p;
    float ymax = gl_MultiTexCoord0.q;

    uvec4 res = uvec4(0u, 0u, 0u, 0u);
    if (mod(xmax - xmin, 16.0) == 0.0)
    {
        for (float y = ymin; y < ymax; y += 1.0)
        {
            for (float x = xmin; x < xmax; x += 16.0)
            {
                res += uvec4(texture2DRect(texUnit0, vec2(x, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+1.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+2.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+3.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+4.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+5.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+6.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+7.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+8.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+9.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+10.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+11.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+12.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+13.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+14.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+15.0, y)));
            }
        }
    }
    else if (mod(xmax - xmin, 8.0) == 0.0)
    {
        for (float y = ymin; y < ymax; y += 1.0)
        {
            for (float x = xmin; x < xmax; x += 8.0)
            {
                res += uvec4(texture2DRect(texUnit0, vec2(x, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+1.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+2.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+3.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+4.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+5.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+6.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+7.0, y)));
            }
        }
    }
    else if (mod(xmax - xmin, 4.0) == 0.0)
    {
        for (float y = ymin; y < ymax; y += 1.0)
        {
            for (float x = xmin; x < xmax; x += 4.0)
            {
                res += uvec4(texture2DRect(texUnit0, vec2(x, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+1.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+2.0, y)));
                res += uvec4(texture2DRect(texUnit0, vec2(x+3.0, y)));
            }
        }
    }
    else
    {
        for (float y = ymin; y < ymax; y += 1.0)
        {
            for (float x = xmin; x < xmax; x += 1.0)
            {
                res += uvec4(texture2DRect(texUnit0, vec2(x, y)));
            }
        }
    }

    counter = res;
    gl_Position = ftransform();
}
)";

} // namespace

PixelCount::PixelCount()
    : GpuStdShaders(false), mFragmentSource(kFragmentSource), mVertexSource(kVertexSource), mNofTiles(32)
{
    if (!beginProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/PixelCount"))
        return;
    glBindFragDataLocationEXT(mProgObj, 0, "fragDataOut");
    attachShader(GL_VERTEX_SHADER, mVertexSource);
    attachShader(GL_FRAGMENT_SHADER, mFragmentSource);
    linkProgram();
}

PixelCount::~PixelCount() = default;

void PixelCount::setMaxNofTiles(unsigned int n)
{
    mNofTiles = n;
    mDisplayListValid = false;
}

unsigned int PixelCount::getCount()
{
    assert(mCountBuffer && "PixelCount::getCount(): expected an execute() before");
    std::uint32_t count = mNofTiles;
    if (!mDisplayListValid) { // the number may be a request, for any number of tiles; a row has no more than its texels
        count = std::min(mNofTiles, static_cast<std::uint32_t>(mXresDstTex1));
        mCountBuffer = std::make_unique<std::uint32_t[]>(count);
    }
    glReadBuffer(GL_COLOR_ATTACHMENT1_EXT);
    glReadPixels(0, 0, static_cast<GLsizei>(count), 1, GL_RED_INTEGER_EXT, GL_UNSIGNED_INT, mCountBuffer.get());
    return std::accumulate(mCountBuffer.get(), mCountBuffer.get() + count, 0u);
}

void PixelCount::prepareDisplayList()
{
    assert(static_cast<int>(mNofTiles) < mXresDstTex1);
    assert(mNofTiles > 0);

    const auto width = static_cast<float>(mXresSrcTex1);
    const auto height = static_cast<float>(mYresSrcTex1);
    const auto right = static_cast<float>(mXresDstTex1);
    const auto bottom = static_cast<float>(mYresDstTex1);
    const auto tilesPerSide = static_cast<float>(std::trunc(std::sqrt(mNofTiles)));
    const float tileWidth = std::ceil(width / tilesPerSide);
    const float tileHeight = std::ceil(height / tilesPerSide);

    beginDisplayList();
    glBegin(GL_POINTS);
    float tile = 0.0f;
    for (float y = 0.0f; y < height; y += tileHeight) {
        for (float x = 0.0f; x < width; x += tileWidth) {
            glMultiTexCoord4f(GL_TEXTURE0, x, y, math::Math::getCrop(x + tileWidth, 0.0f, right),
                              math::Math::getCrop(y + tileHeight, 0.0f, bottom));
            glVertex2f(tile, 0.0f);
            tile += 1.0f;
        }
    }
    glEnd();
    endDisplayList();

    mNofTiles = static_cast<std::uint32_t>(tile);
    announcements() << "Tiles set to: " << mNofTiles << std::endl;
    if (static_cast<std::uint32_t>(mXresSrcTex1 * mYresSrcTex1) / mNofTiles > 65535)
        std::cerr << "WARNING: PixelCount: Result may be incorrect due to a too small tile number of " << mNofTiles
                  << std::endl;
    mCountBuffer = std::make_unique<std::uint32_t[]>(mNofTiles);
}

} // namespace velmor::cvprocess

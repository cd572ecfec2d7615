#include "gstreamer/GlOperator.h"

#include "catalogue/GpuFilters.h"
#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "glsupport/RectTexture.h"
#include "gstreamer/GlLevels.h"

namespace velmor::gstreamer {
namespace {

using catalogue::Data;
using core::cvdata::TextureGpu;
using cvprocess::GpuStdShaders;
using glsupport::RectTexture;

constexpr GLenum kTarget = GL_TEXTURE_RECTANGLE_ARB;

/// Has a texture read as filters expect it, texel by texel. GStreamer's textures mix neighbours.
class Nearest
{
public:
    explicit Nearest(unsigned texture) : mTexture(texture)
    {
        glBindTexture(kTarget, mTexture);
        for (int i = 0; i < 2; ++i) {
            glGetTexParameteriv(kTarget, kFilters[i], &mFound[i]);
            glTexParameteri(kTarget, kFilters[i], GL_NEAREST);
        }
    }
    Nearest(const Nearest&) = delete;
    Nearest& operator=(const Nearest&) = delete;
    ~Nearest()
    {
        glBindTexture(kTarget, mTexture);
        for (int i = 0; i < 2; ++i)
            glTexParameteri(kTarget, kFilters[i], mFound[i]);
    }

private:
    static constexpr GLenum kFilters[] = {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER};

    unsigned mTexture;
    GLint mFound[2] = {};
};

std::unique_ptr<RectTexture> makeTexture(const cv::Size& size, RectTexture::Format format)
{
    return std::make_unique<RectTexture>(static_cast<unsigned>(size.width), static_cast<unsigned>(size.height), format);
}

/// Describes a rectangle texture of bytes.
TextureGpu describe(unsigned texture, const cv::Size& size)
{
    return {texture,
            static_cast<unsigned>(size.width),
            static_cast<unsigned>(size.height),
            GL_UNSIGNED_BYTE,
            GL_RGBA,
            GL_RGBA8,
            kTarget};
}

/// Filters a texture. Nothing stays attached: the texture of a later frame may have the name of one that is gone.
void pass(GpuStdShaders& filter, TextureGpu& source, TextureGpu& result)
{
    filter.prepareExecution(source, result);
    filter.execute();
    for (const GLenum attachment : {GLenum{GL_COLOR_ATTACHMENT0_EXT}, GLenum{GL_COLOR_ATTACHMENT1_EXT}})
        glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, attachment, kTarget, 0, 0);
}

bool givesClasses(const GlOperator::Settings& settings)
{
    return settings.what->gives == Data::CLASSES && settings.models.size() > 1; // of one model, a mask
}

/// Whether the other colours of a result have no defined value.
bool givesRedAlone(const GlOperator::Settings& settings)
{
    return givesClasses(settings) || (settings.what->takes == Data::MOSAIC && settings.what->gives == Data::GREY);
}

constexpr std::size_t kMostClasses = 11;

/// Why a model cannot be one of a shader of models with so many components; empty where it can.
std::string shortfallOf(const core::cvdata::ColorGMM& model, int least, int most)
{
    const int components = model.nofComponents();
    if (components < least || components > most)
        return "a model of " + std::to_string(least) + (most > least ? " to " + std::to_string(most) : "") +
               " components, got one of " + std::to_string(components);
    for (const auto& component : model.mixture)
        if (component->dimension != 2)
            return "a model of two dimensions, got one of " + std::to_string(component->dimension);
    return "";
}

} // namespace

bool GlOperator::Settings::operator==(const Settings& other) const
{
    return what == other.what && values == other.values && models == other.models && size == other.size;
}

std::string GlOperator::Settings::shortfall() const
{
    const bool isOne = what->need == catalogue::Need::ONE_MODEL;
    if (!isOne && what->need != catalogue::Need::MODELS)
        return "";
    const std::string most = std::to_string(kMostClasses), got = ", got " + std::to_string(models.size());
    if (models.empty() || models.size() > (isOne ? 1 : kMostClasses))
        return what->name + " expected " + (isOne ? "one model" : "1 to " + most + " models") + got;
    for (const auto& model : models) {
        const std::string found = shortfallOf(*model, isOne ? 2 : 1, isOne ? 2 : 9);
        if (!found.empty())
            return what->name + " expected " + found;
    }
    return "";
}

GlOperator::GlOperator(const Settings& settings)
    : mSettings(settings), mFilter(catalogue::makeGpu(settings.what->name, settings.values, givenOf(settings.models)))
{
}

GlOperator::~GlOperator() = default;

bool GlOperator::needs(const Levels& levels) const
{
    return levels.scale != 1 || levels.offset != 0 || givesRedAlone(mSettings);
}

bool GlOperator::isReadyFor(const Levels& levels) const
{
    return mLevels || !needs(levels);
}

void GlOperator::prepareFor(const Levels& levels)
{
    if (isReadyFor(levels))
        return;
    mValues = makeTexture(mSettings.size, RectTexture::RGBA32F);
    mLevels = std::make_unique<GlLevels>();
}

void GlOperator::run(const GlFrame& source, const Levels& levels, unsigned result)
{
    mSource = wholeRectangle(source);
    mResult = describe(result, mSettings.size);
    const Nearest nearest(mSource->getTexId());
    if (needs(levels))
        runWithLevels(levels);
    else
        runOpaquely();
}

/// The alpha of a clear stays: to fill it in afterwards takes llvmpipe nearly as long as a filter.
void GlOperator::runOpaquely()
{
    if (!mCleared)
        mCleared = std::make_unique<cvprocess::GlFbo>();
    mCleared->attachTexture(kTarget, mResult->getTexId());
    mCleared->bind();
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    mCleared->unattachAll();
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_FALSE);
    pass(*mFilter, *mSource, *mResult);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
}

void GlOperator::runWithLevels(const Levels& levels)
{
    mLevels->params().scale = static_cast<float>(givesClasses(mSettings) ? levels.scale / 255 : levels.scale);
    mLevels->params().offset = static_cast<float>(levels.offset);
    mLevels->params().isGrey = givesRedAlone(mSettings);
    pass(*mFilter, *mSource, *mValues);
    pass(*mLevels, *mValues, *mResult);
}

/// A frame as filters take it: glupload gives textures of two dimensions under the name of rectangles.
TextureGpu GlOperator::wholeRectangle(const GlFrame& source)
{
    if (source.target == kTarget && source.part == cv::Rect({0, 0}, source.size))
        return describe(source.texture, source.size);
    if (!mCopy) {
        mCopy = makeTexture(mSettings.size, RectTexture::RGBA8);
        mCopied = std::make_unique<cvprocess::GlFbo>();
    }
    mCopied->attachTexture(source.target, source.texture);
    mCopied->bind();
    glReadBuffer(GL_COLOR_ATTACHMENT0_EXT);
    glBindTexture(kTarget, mCopy->getTexId());
    glCopyTexSubImage2D(kTarget, 0, 0, 0, source.part.x, source.part.y, source.part.width, source.part.height);
    mCopied->unattachAll();
    return *mCopy;
}

} // namespace velmor::gstreamer

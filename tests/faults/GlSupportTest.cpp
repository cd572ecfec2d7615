// What stands beside the filters when our libraries have no memory: textures, contexts and what keeps their state.

#include "core/cvdata/Image.h"
#include "cvprocess/gpuStdShaders/GlShaderMgr.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/internal/Announcements.h"
#include "glsupport/RectTexture.h"
#include "glsupport/StateGuard.h"
#include "tests/faults/OurFailures.h"
#include "tests/support/Pictures.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmor::tests {
namespace {

using core::cvdata::Image;
using cvprocess::GlShaderMgr;
using glsupport::DriverAdapter;
using glsupport::HeadlessContext;
using glsupport::RectTexture;
using glsupport::StateGuard;

const std::string kWhite = "#extension GL_ARB_texture_rectangle : enable\nvoid main() { gl_FragColor = vec4(1); }\n";

class GlSupportWithoutMemory : public GlTest
{
protected:
    cvprocess::Silence silence;
};

TEST_F(GlSupportWithoutMemory, TexturesAreMadeOrNot)
{
    std::unique_ptr<RectTexture> texture;
    expectBearsFailures(
        [&] {
            texture.reset();
            texture = std::make_unique<RectTexture>(5, 3, RectTexture::RGBA8);
        },
        [&](bool hasReturned) { EXPECT_EQ(texture != nullptr, hasReturned); });
}

TEST_F(GlSupportWithoutMemory, TexturesAreReadAsAWholeOrNotAtAll)
{
    std::mt19937 random(1);
    const Image picture = randomImage(5, 3, Image::RGB, random);
    RectTexture texture(5, 3, RectTexture::RGB8);
    texture.upload(picture);
    std::vector<unsigned char> bytes(3 * 19, 7); // OpenGL has no words for such rows: they are packed first
    expectBearsFailures(
        [&] {
            Image read(5, 3, Image::RGB, bytes.data(), 19);
            texture.download(read);
        },
        [&](bool hasReturned) {
            for (unsigned y = 0; y < 3; ++y)
                for (unsigned k = 0; k < 15; ++k)
                    EXPECT_EQ(bytes[y * 19 + k],
                              hasReturned ? picture.imageBuffer()[y * picture.allocatedWidth() + k] : 7);
            std::fill(bytes.begin(), bytes.end(), static_cast<unsigned char>(7));
        });
}

TEST_F(GlSupportWithoutMemory, ContextsAreMadeOrNot)
{
    std::optional<HeadlessContext> another;
    expectBearsFailures(
        [&] {
            another.reset();
            another.emplace();
        },
        [&](bool hasReturned) {
            EXPECT_EQ(another.has_value(), hasReturned);
            context->makeCurrent();
        },
        8);
}

TEST_F(GlSupportWithoutMemory, AnAdapterThatIsNotInstalledAnewAdaptsAsBefore)
{
    const auto draw = [] {
        RectTexture small(2, 2, RectTexture::RGBA8), large(4, 4, RectTexture::RGBA8);
        cvprocess::Not filter(nullptr);
        filter.prepareExecution(small, large); // which the driver clips to the smaller one
        filter.addROI(0, 0, 4, 4);
        filter.execute();
        std::vector<unsigned char> bytes(64);
        large.download(bytes.data());
        return bytes;
    };
    ASSERT_EQ(draw(), std::vector<unsigned char>(64, 255));
    glEnable(GL_BLEND);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 2);
    expectBearsFailures([] { DriverAdapter::install(); },
                        [&](bool) {
                            EXPECT_TRUE(glIsEnabled(GL_BLEND));
                            GLint alignment = 0;
                            glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
                            EXPECT_EQ(alignment, 2);
                            glDisable(GL_BLEND);
                            EXPECT_EQ(draw(), std::vector<unsigned char>(64, 255));
                            glEnable(GL_BLEND);
                        },
                        8);
}

TEST_F(GlSupportWithoutMemory, StateIsKeptOrUntouched)
{
    glEnable(GL_BLEND);
    glActiveTexture(GL_TEXTURE1);
    expectBearsFailures([] { const StateGuard guard; },
                        [&](bool) {
                            EXPECT_TRUE(glIsEnabled(GL_BLEND));
                            GLint active = 0;
                            glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
                            EXPECT_EQ(active, GL_TEXTURE1);
                        });
}

TEST_F(GlSupportWithoutMemory, ShadersThatCouldNotBeAttachedAreAttachedTheNextTime)
{
    std::unique_ptr<GlShaderMgr> manager;
    unsigned program = 0, shader = 0;
    const auto attached = [&program] {
        GLint count = 0;
        glGetProgramiv(program, GL_ATTACHED_SHADERS, &count);
        return count;
    };
    const auto attach = [&] {
        manager->loadAndAttachShaderFromString(program, GL_FRAGMENT_SHADER, kWhite, shader);
    };
    forEachAllocation([&](std::size_t first, std::size_t count) {
        manager = std::make_unique<GlShaderMgr>();
        manager->registerProgObj("white", program);
        bool hasFailed = true;
        std::string said;
        Ending ending;
        {
            const FailingMemory memory(first, count, FailingMemory::OURS);
            ending = endingOf(attach, said);
            hasFailed = memory.hasFailed();
        }
        EXPECT_TRUE(ending == Ending::RETURNED || ending == Ending::OUT_OF_MEMORY) << said;
        EXPECT_EQ(attached(), ending == Ending::RETURNED ? 1 : 0);
        attach();
        EXPECT_EQ(attached(), 1);
        EXPECT_TRUE(GlShaderMgr::linkShadersToProgram(program));
        return hasFailed;
    });
}

} // namespace
} // namespace velmor::tests

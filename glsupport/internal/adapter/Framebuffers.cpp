#include "glsupport/internal/adapter/Framebuffers.h"

#include "glsupport/internal/Integer.h"
#include "glsupport/internal/adapter/Process.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <limits>

namespace velmor::glsupport::adapter {
namespace {

/// The size of what cannot be asked: larger than any.
constexpr Size kUnknown = {std::numeric_limits<GLint>::max(), std::numeric_limits<GLint>::max()};

bool isSmaller(const Size& size, const Size& than)
{
    return size.width < than.width || size.height < than.height;
}

/// The rectangle textures on the two units that filters read.
std::array<Source, 2> boundSources()
{
    std::array<Source, 2> sources;
    const GLint active = integer(GL_ACTIVE_TEXTURE);
    for (std::size_t i = 0; i < sources.size(); ++i) {
        Source& source = sources[i];
        glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + i));
        source.texture = static_cast<GLuint>(integer(GL_TEXTURE_BINDING_RECTANGLE_ARB));
        if (source.texture == 0)
            continue;
        glGetTexLevelParameteriv(GL_TEXTURE_RECTANGLE_ARB, 0, GL_TEXTURE_WIDTH, &source.size.width);
        glGetTexLevelParameteriv(GL_TEXTURE_RECTANGLE_ARB, 0, GL_TEXTURE_HEIGHT, &source.size.height);
    }
    glActiveTexture(static_cast<GLenum>(active));
    return sources;
}

/// A set of colour attachments.
using Attachments = std::bitset<kColourAttachments>;

GLenum nameOf(std::size_t attachment)
{
    return static_cast<GLenum>(GL_COLOR_ATTACHMENT0_EXT + attachment);
}

/// The number of a colour attachment; others have one of kColourAttachments and more.
std::size_t numberOf(GLenum attachment)
{
    return attachment - GL_COLOR_ATTACHMENT0_EXT; // below the first it wraps to a large number
}

Attachments drawnAttachments()
{
    Attachments drawn;
    const GLint buffers = integer(GL_MAX_DRAW_BUFFERS);
    for (GLint i = 0; i < buffers; ++i) {
        const auto attachment = static_cast<GLenum>(integer(static_cast<GLenum>(GL_DRAW_BUFFER0 + i)));
        if (numberOf(attachment) < kColourAttachments)
            drawn.set(numberOf(attachment));
    }
    return drawn;
}

/// The texture on the bound framebuffer; 0 where there is none.
GLuint attachedTexture(GLenum attachment)
{
    GLint type = GL_NONE;
    GLint name = 0;
    glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, attachment, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE_EXT,
                                             &type);
    if (type != GL_TEXTURE)
        return 0;
    glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, attachment, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT,
                                             &name);
    return static_cast<GLuint>(name);
}

/// Whether textures can be asked without binding them, for which their target would have to be known.
bool canAskByName()
{
    return GLEW_VERSION_4_5 || GLEW_ARB_direct_state_access;
}

/// The size of a texture that is attached. It may have been deleted.
Size sizeOf(GLuint texture)
{
    if (!canAskByName() || !glIsTexture(texture))
        return kUnknown;
    Size size;
    glGetTextureLevelParameteriv(texture, 0, GL_TEXTURE_WIDTH, &size.width);
    glGetTextureLevelParameteriv(texture, 0, GL_TEXTURE_HEIGHT, &size.height);
    return size;
}

/// The largest size of what is drawn into.
Size sizeDrawnInto(const Attachments& drawn)
{
    Size largest;
    for (std::size_t i = 0; i < kColourAttachments; ++i) {
        const GLuint texture = drawn[i] ? attachedTexture(nameOf(i)) : 0;
        const Size size = texture != 0 ? sizeOf(texture) : Size();
        largest = {std::max(largest.width, size.width), std::max(largest.height, size.height)};
    }
    return largest;
}

/// Whether a source is there as it was taken off. Its name may be another texture's by now, of another size as a rule.
bool isStillThere(const Source& source)
{
    if (!canAskByName() || !glIsTexture(source.texture))
        return glIsTexture(source.texture);
    const Size size = sizeOf(source.texture);
    return size.width == source.size.width && size.height == source.size.height;
}

GLuint boundFramebuffer()
{
    return static_cast<GLuint>(integer(GL_FRAMEBUFFER_BINDING_EXT));
}

void setShift(const ProgramRecord& program, const Size& size)
{
    const auto eighth = [](GLint pixels) {
        return pixels > 0 ? 0.25f / static_cast<GLfloat>(pixels) : 0.0f;
    };
    if (program.shiftLocation >= 0)
        glUniform2f(program.shiftLocation, eighth(size.width), eighth(size.height));
}

} // namespace

void takeSourcesOff(Context& context, GLuint program)
{
    const GLuint framebuffer = boundFramebuffer();
    if (framebuffer == 0)
        return;
    const std::array<Source, 2> sources = boundSources();
    const Attachments drawn = drawnAttachments();
    const Size size = context.treatment.always ? kUnknown : sizeDrawnInto(drawn);
    const auto clips = [&size](const Source& source) {
        return source.texture != 0 && isSmaller(source.size, size);
    };
    if (std::none_of(sources.begin(), sources.end(), clips)) // the common case, which is to cost little
        return;
    context.takenOff = {program, framebuffer, {}};
    const auto count = std::min(static_cast<std::size_t>(integer(GL_MAX_COLOR_ATTACHMENTS_EXT)), kColourAttachments);
    for (std::size_t i = 0; i < count; ++i) {
        const GLuint texture = attachedTexture(nameOf(i));
        const auto source = std::find_if(sources.begin(), sources.end(), [&clips, texture](const Source& each) {
            return each.texture == texture && clips(each);
        });
        if (source == sources.end() || drawn[i])
            continue;
        driver().framebufferTexture2DExt(GL_FRAMEBUFFER_EXT, nameOf(i), GL_TEXTURE_RECTANGLE_ARB, 0, 0);
        context.takenOff.sources[i] = *source;
    }
}

void putSourcesBack(Context& context)
{
    if (context.takenOff.isEmpty())
        return;
    const TakenOff takenOff = context.takenOff;
    context.takenOff = {};
    const GLuint bound = boundFramebuffer();
    const GLenum target = GLEW_VERSION_3_0 ? GL_DRAW_FRAMEBUFFER_EXT : GL_FRAMEBUFFER_EXT;
    if (bound != takenOff.framebuffer)
        glBindFramebufferEXT(target, takenOff.framebuffer);
    for (std::size_t i = 0; i < kColourAttachments; ++i) {
        const Source& source = takenOff.sources[i];
        if (source.texture != 0 && attachedTexture(nameOf(i)) == 0 && isStillThere(source))
            driver().framebufferTexture2DExt(target, nameOf(i), GL_TEXTURE_RECTANGLE_ARB, source.texture, 0);
    }
    if (bound != takenOff.framebuffer)
        glBindFramebufferEXT(target, bound);
}

void shiftVertices(const ProgramRecord& program)
{
    if (program.shiftLocation >= 0)
        setShift(program, boundFramebuffer() != 0 ? sizeDrawnInto(drawnAttachments()) : Size());
}

void shiftVerticesBack(const ProgramRecord& program)
{
    setShift(program, Size());
}

namespace {

/// The program in use draws into something else from now on.
void follow(GLenum target)
{
    if (target == GL_READ_FRAMEBUFFER_EXT)
        return;
    const ProgramRecord* const program = process().context().inUse();
    if (program && !isCompilingList())
        shiftVertices(*program);
}

/// What is attached or taken away meanwhile stays so.
void noteAttached(GLenum target, GLenum attachment)
{
    TakenOff& takenOff = process().context().takenOff;
    const std::size_t number = numberOf(attachment);
    if (number < kColourAttachments && !takenOff.isEmpty() && boundFramebuffer() == takenOff.framebuffer)
        takenOff.sources[number] = {};
    follow(target);
}

/// What was off a framebuffer is not put on a later one of its name.
void forgetFramebuffers(GLsizei count, const GLuint* framebuffers)
{
    TakenOff& takenOff = process().context().takenOff;
    if (count > 0 && std::find(framebuffers, framebuffers + count, takenOff.framebuffer) != framebuffers + count)
        takenOff = {};
}

} // namespace

void GLAPIENTRY framebufferTexture2DExt(GLenum target, GLenum attachment, GLenum textureTarget, GLuint texture,
                                        GLint level)
{
    driver().framebufferTexture2DExt(target, attachment, textureTarget, texture, level);
    noteAttached(target, attachment);
}

void GLAPIENTRY framebufferTexture2D(GLenum target, GLenum attachment, GLenum textureTarget, GLuint texture,
                                     GLint level)
{
    driver().framebufferTexture2D(target, attachment, textureTarget, texture, level);
    noteAttached(target, attachment);
}

void GLAPIENTRY bindFramebufferExt(GLenum target, GLuint framebuffer)
{
    driver().bindFramebufferExt(target, framebuffer);
    follow(target);
}

void GLAPIENTRY bindFramebuffer(GLenum target, GLuint framebuffer)
{
    driver().bindFramebuffer(target, framebuffer);
    follow(target);
}

void GLAPIENTRY deleteFramebuffersExt(GLsizei count, const GLuint* framebuffers)
{
    forgetFramebuffers(count, framebuffers);
    driver().deleteFramebuffersExt(count, framebuffers);
}

void GLAPIENTRY deleteFramebuffers(GLsizei count, const GLuint* framebuffers)
{
    forgetFramebuffers(count, framebuffers);
    driver().deleteFramebuffers(count, framebuffers);
}

} // namespace velmor::glsupport::adapter

#include "core/cvdata/TextureGpu.h"

namespace velmor::core::cvdata {

TextureGpu::TextureGpu(unsigned texId, unsigned width, unsigned height, GLenum dataType, GLenum chanSeq,
                       GLint internalFormat, GLenum target)
    : mTexId(texId), mWidth(width), mHeight(height), mTexDataType(dataType), mTexChanSeq(chanSeq),
      mTexInternalFormat(internalFormat), mTexTargetType(target)
{
}

TextureGpu::~TextureGpu() = default;

} // namespace velmor::core::cvdata

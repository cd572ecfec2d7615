#include "examples/viewer/Models.h"

<<<<<<< HEAD
#include "examples/demo/PatchModel.h"
#include "glsupport/RectTexture.h"
=======
#include "core/cvdata/RectTexture.h"
#include "examples/shared/PatchModel.h"
>>>>>>> 286d0c5 (examples: Keep what demo and viewer share in a folder of its own)

#include <algorithm>

namespace velmor::viewer {
namespace {

constexpr int kPatchShare = 12; ///< the middle patch is that part of the frame's shorter side

} // namespace

void Models::learn(const cv::Mat& frame, const glsupport::RectTexture& texture, const cv::Rect& newPatch)
{
    const auto calm = demo::calmPatches(frame);
    chosen = demo::patchModel(texture, newPatch);
    dark = demo::patchModel(texture, calm.front());
    bright = demo::patchModel(texture, calm.back());
    patch = newPatch;
}

cv::Rect middlePatch(const cv::Size& frame)
{
    const int side = std::max(1, std::min(frame.width, frame.height) / kPatchShare);
    return {(frame.width - side) / 2, (frame.height - side) / 2, side, side};
}

} // namespace velmor::viewer

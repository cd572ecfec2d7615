#pragma once

#include "native/Export.h"

#include <opencv2/core/mat.hpp>

#include <memory>

namespace velmor::core::cvdata {
class Image;
}

/// The filters of velmor::cvprocess on pictures in main memory, by the same names: without OpenGL, on the CPU's vector
/// units and all of its cores.
namespace velmor::native {

struct Rule;

/// What the filters on pictures in main memory share: how they are called.
///
/// Pictures are `cv::Mat`s of two dimensions with any row stride. Channel 0 is what a shader calls red. Bytes stand for
/// 0..1, as in textures. Each class says which types it takes and gives. From bytes to bytes a result is the exact
/// value of the rule, rounded half up, within 0..255. To floats, bytes are divided by 255 and each operation of the
/// rule is rounded once, so that results are the same bits on every processor and with any number of threads. Floats
/// become bytes as in a texture: limited to 0..1, times 255, rounded half up; what is not a number becomes 0.
///
/// Neighbours beyond the edge are the edge's. A part of a larger `cv::Mat` is a picture of its own, with an edge of its
/// own.
///
/// The result may be a source or share memory with one in any way; each pixel is computed from what the sources held
/// before. A result of the right size and type is written where it is; else it gets new memory.
///
/// A filter does not change once it is made, and any number of threads may use it. One call uses as many threads as
/// `cv::setNumThreads()` allows. Copies of a filter share what it was made with.
///
/// Example:
///
///     const native::Subtract subtract;
///     cv::Mat change;
///     subtract.execute(frameBefore, frameNow, change);
class VELMOR_NATIVE_EXPORT Filter
{
public:
    virtual ~Filter();

    /// Number of sources: 1 or 2.
    int sources() const;

    /// The type of the result, such as `CV_8UC3`.
    /// @param sourceType  type of a source
    /// @param depth       depth asked for, as for execute()
    /// @throws std::invalid_argument  when the filter takes no such source or gives no such depth
    int resultType(int sourceType, int depth = -1) const;

    /// Filters a picture.
    /// @param source  of a type that the class names
    /// @param result  of the source's size and resultType()
    /// @param depth   depth of the result, CV_8U or CV_32F where the class gives both; -1 for what it gives by default
    /// @throws std::invalid_argument  when the filter takes two sources, or one of another type, or gives no such
    /// depth,
    ///                                or when the source is empty; the result stays as it was
    void execute(const cv::Mat& source, cv::Mat& result, int depth = -1) const;

    /// Filters two pictures of one size and one type.
    /// @throws std::invalid_argument  as above, and when the sources differ in size or type
    void execute(const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result, int depth = -1) const;

    /// Filters an image. Red becomes channel 0 whatever the layout, as in RectTexture::upload().
    void execute(const core::cvdata::Image& source, cv::Mat& result, int depth = -1) const;

    /// Filters two images of one size and one number of channels.
    void execute(const core::cvdata::Image& source1, const core::cvdata::Image& source2, cv::Mat& result,
                 int depth = -1) const;

protected:
    /// Makes a filter that computes a rule.
    explicit Filter(std::shared_ptr<const Rule> rule);

    /// Makes a filter that computes the same.
    Filter(const Filter&) = default;

    /// Computes what the other one does from now on.
    Filter& operator=(const Filter&) = default;

private:
    std::shared_ptr<const Rule> mRule;
};

} // namespace velmor::native

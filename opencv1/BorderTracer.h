#pragma once

#include <opencv2/core/types_c.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace velmor::opencv1 {

/// Finds the outer borders of the regions of a mask, one by one, and writes each as a contour of OpenCV's.
///
/// A region is a set of pixels, none of them 0, that touch at sides or corners. Its outer border is the one to the
/// background around it. Regions in a hole of another have no outer border here. The outermost rows and columns of the
/// mask count as background.
///
/// The borders come by the row and then the column of their first pixels, and run counterclockwise from there. Of
/// points on a straight line, those between its ends are left out. So order, points, headers and the place that they
/// take in the storage are those of OpenCV's cvStartFindContours() with CV_RETR_EXTERNAL and CV_CHAIN_APPROX_SIMPLE.
/// (S. Suzuki, K. Abe: Topological structural analysis of digitized binary images by border following, Computer Vision,
/// Graphics, and Image Processing 30 (1985), algorithm 2.)
class BorderTracer
{
public:
    /// Bytes of the memory that a mask of this size is traced in: three bits a pixel, and never more than the mask has.
    static std::size_t workBytes(int width, int height);

    /// Reads the mask.
    /// @param mask     8 bits, 1 channel, at least 3 x 3 pixels; not used any more when the constructor is left
    /// @param work     workBytes() of other memory, which is overwritten
    /// @param storage  takes the contours
    BorderTracer(const IplImage& mask, unsigned char* work, CvMemStorage* storage);

    /// Goes on to the next border. The one before leaves nothing behind, unless it was kept.
    /// @return  false when there is no more
    bool next();

    /// Area of the polygon through the points of this border: m00 of cvMoments(), to the bit. Both sums are exact: no
    /// part of them exceeds the border's length times twice the shorter side of the mask, which is far below 2^53.
    double area() const { return std::abs(static_cast<double>(mDoubledArea)) / 2.0; }

    /// Makes a contour of this border in the storage, and puts it at the head of the list. Once for each border.
    CvContour* keep();

    /// The list of the contours kept, the last one first; null when there is none.
    CvSeq* contours() const { return mContours; }

private:
    using Word = std::uint64_t; ///< of 64 pixels, the first in the lowest bit

    /// Planes of one bit a pixel, each row padded to whole bytes. Pixels are counted likewise.
    struct Planes
    {
        std::size_t rowBytes;
        unsigned char* foreground;
        unsigned char* traced; ///< the pixels of the borders found so far
        unsigned char* right;  ///< those of them that have the background around their region on their right

        unsigned neighbourhood(std::size_t pixel) const;
        std::size_t offset(unsigned direction) const;
        void mark(std::size_t pixel, bool seesRight) const;
    };

    Word load(const unsigned char* plane) const;
    bool goToForeground();
    void trace(std::size_t start);
    void addPoint(const CvPoint& point);
    void writePoints();

    Planes mPlanes;
    std::size_t mByte; ///< of the planes: where the search goes on
    std::size_t mEndByte;
    bool mInside = false; ///< whether that is behind the left border of a region, and before its right one

    // This border. Most are small and not kept, and to make a contour takes as long as to trace such a border: the
    // first points wait here.
    std::array<CvPoint, 64> mPoints;
    std::size_t mPointCount = 0;
    std::int64_t mDoubledArea = 0; ///< with a sign
    int mMinX = 0, mMinY = 0, mMaxX = 0, mMaxY = 0;
    CvContour* mContour = nullptr; ///< null as long as it has no point
    CvSeqWriter mWriter{};

    CvMemStorage* mStorage;
    CvMemStoragePos mBefore{}; ///< the storage's position before the contour
    CvSeq* mContours = nullptr;
};

} // namespace velmor::opencv1

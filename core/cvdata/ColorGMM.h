#pragma once

#include "core/Export.h"
#include "core/cvdata/GM.h"

#include <boost/shared_ptr.hpp>

#include <string>
#include <vector>

namespace velmor::core::cvdata {

class Image;

/// A Gaussian mixture over two colour components: what a colour looks like to the detectors.
///
/// The likelihood of a colour is the sum over all components of weight times density. A detector takes a pixel for the
/// model's colour where the likelihood exceeds the detection threshold.
///
/// A copy of a model shares its components with the original.
///
/// Files are YAML or XML. They hold `detection_threshold`, the list `components` and, last, `number_of_components`.
/// Each component has `weight`, `dimension`, `mean`, `determinant` and `inverse_covariance`, the matrix row by row.
/// Every number comes back with the same bits, whichever version of OpenCV reads or wrote the file; a value that is not
/// a number comes back as one that is not a number, whatever its bits. Files of every earlier version load, and every
/// earlier version loads these.
///
/// A file may be edited by hand. The order of entries, spaces and comments do not matter, and entries with other names
/// are skipped. Anything else that save() would not write is refused. A file has at most 16 MiB, 16 levels of lists
/// within lists, and 200,000 entries, counting those of lists: enough for ten thousand components of two dimensions.
///
/// Example:
///
///     ColorGMM skin;
///     skin.train(photograph, &skinMask, 3);
///     skin.detectionThreshold = 1e-4;
///     skin.save("skin.yml");
class VELMOR_CORE_EXPORT ColorGMM
{
public:
    /// A model without components.
    ColorGMM();

    /// Makes a model of the same components, which the original and the copy share.
    ColorGMM(const ColorGMM&) = default;

    /// Takes the components of another model and shares them with it.
    ColorGMM& operator=(const ColorGMM&) = default;

    virtual ~ColorGMM();

    /// Writes the model. The file appears complete or not at all. A file that was there is whole at every moment, keeps
    /// its permissions, and stays as it was when writing fails.
    /// @param file  its extension names the format: .yml or .yaml for YAML, .xml for XML
    /// @throws std::runtime_error  naming the file and the reason: it cannot be written, or load() would refuse it
    virtual void save(const std::string& file) const;

    /// Reads a model that save() has written; the content of the file tells its format. Whatever a file holds, loading
    /// it takes neither long nor much memory.
    /// @throws std::runtime_error  naming the file and the reason, with the line that is not understood; the model
    ///                             stays as it was
    virtual void load(const std::string& file);

    /// Number of components.
    virtual int nofComponents() const;

    /// Estimates the components from the colours of an image, by expectation maximisation (Dempster, Laird and Rubin,
    /// Maximum likelihood from incomplete data via the EM algorithm, 1977) with full covariances. It reads the first
    /// two channels of each pixel. It adds 1/12 to each variance, which is the variance that rounding to bytes hides,
    /// so that samples of a single colour make a model too.
    ///
    /// Cost: that of OpenCV's search for the components, on one thread of the machine of the performance page 2 us a
    /// selected pixel for one component, and 20 to 100 us a pixel and component for more. It takes 36 bytes a selected
    /// pixel, and 8 for each component, so a few thousand pixels make a good sample.
    ///
    /// The detection threshold stays as it is. The same samples give the same components in every run.
    /// @param samples     three channels
    /// @param mask        one channel, of the size of samples: its non-zero bytes select pixels; null for all pixels
    /// @param components  number of components, at least 1
    /// @throws std::invalid_argument  when an argument is not as described here; the model stays as it was
    /// @throws std::runtime_error     when fewer pixels than components are selected; the model stays as it was
    void train(const Image& samples, const Image* mask, int components);

    std::vector<boost::shared_ptr<GM>> mixture; ///< the components

    /// A colour belongs to the model when its likelihood exceeds this. It starts at 1/65536, the likelihood of each
    /// colour when all pairs of bytes are equally likely.
    double detectionThreshold = 1.0 / 65536.0;
};

} // namespace velmor::core::cvdata

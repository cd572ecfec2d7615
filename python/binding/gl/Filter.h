#pragma once

#include "catalogue/Catalogue.h"
#include "cvprocess/gpuStdShaders/GpuStdShaders.h"
#include "python/binding/gl/Texture.h"

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velmor::python::gl {

/// Regions of interest as Python gives them: x, y, width, height.
using Regions = std::optional<std::vector<std::array<long long, 4>>>;

/// A filter, for Python: what makes it and checks what it is given, so that nothing is left to its assertions.
class Filter
{
public:
    virtual ~Filter() = default;

    /// A filter that is set with nothing, by its name.
    static std::shared_ptr<Filter> make(const std::string& name);

    void prepareOne(const std::shared_ptr<Texture>& source, const std::shared_ptr<Texture>& destination,
                    const Regions& regions);
    void prepareTwo(const std::shared_ptr<Texture>& source1, const std::shared_ptr<Texture>& source2,
                    const std::shared_ptr<Texture>& destination, const Regions& regions);

    void execute();

protected:
    using Made = std::unique_ptr<cvprocess::GpuStdShaders>;
    using Textures = std::vector<std::shared_ptr<Texture>>;

    /// @param maker  makes the filter in the current context
    Filter(const std::string& name, const std::function<Made()>& maker);

    /// Checks textures, the sources before the destination, beyond what all filters want of them.
    virtual void check(const Textures& textures) const;

    /// Sets what depends on the textures, before they are prepared.
    virtual void adjust(const Textures&) {}

    /// Hands over the regions.
    virtual void setRegions(const std::vector<std::array<long long, 4>>& regions);

    /// A function's name for messages.
    std::string function(const char* name) const;

    /// Refuses what needs a pass, where there was none since the last preparation.
    void checkWasExecuted(const std::string& function) const;

    const Textures& textures() const { return mTextures; }
    const std::shared_ptr<Context>& context() const { return mContext; }

    /// The filter, as what it was made; inside run().
    template<typename Plain>
    Plain& filter() const
    {
        return static_cast<Plain&>(**mFilter);
    }

    bool mIsExecuted = false;

private:
    void prepare(const Textures& textures, const Regions& regions);
    void checkRegions(const std::vector<std::array<long long, 4>>& regions, const Texture& destination) const;
    void checkFormats(const Textures& textures) const;

    const catalogue::Operator& mWhat;
    std::shared_ptr<Context> mContext;
    Owner<cvprocess::GpuStdShaders> mFilter;
    Textures mTextures;                 ///< the filter keeps their addresses
    std::vector<long long> mGeometryOf; ///< the sizes and regions that the filter last drew in
    bool mIsPrepared = false;
};

/// The filter classes, for Python.
void defineFilters(py::module_& module);

} // namespace velmor::python::gl

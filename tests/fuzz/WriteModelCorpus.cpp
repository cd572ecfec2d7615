// Writes the models that the fuzzer of models begins with into a folder: velmor_fuzz_model_corpus <folder>

#include "core/cvdata/ColorGMM.h"

#include <fstream>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>

using velmor::core::cvdata::ColorGMM;
using velmor::core::cvdata::GM;

namespace {

ColorGMM modelOf(int components)
{
    ColorGMM model;
    for (int k = 0; k < components; ++k) {
        const boost::shared_ptr<GM> component(new GM(1 + k));
        component->weight = 1.0f / static_cast<float>(1 + k);
        component->determinant = 299999985664.0f;
        for (unsigned row = 0; row < component->mean.size(); ++row) {
            component->mean[row] = -206374240256.0 / (row + 1);
            component->invCovariance[row][row] = std::numeric_limits<double>::infinity();
        }
        model.mixture.push_back(component);
    }
    return model;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: velmor_fuzz_model_corpus <folder>\n";
        return 2;
    }
    const std::string folder = argv[1];
    try {
        for (const int components : {0, 1, 3})
            for (const char* const extension : {".yml", ".xml"})
                modelOf(components).save(folder + "/model" + std::to_string(components) + extension);
    } catch (const std::runtime_error& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    std::ofstream other(folder + "/other.yml", std::ios::binary);
    other << "%YAML 1.2 # by hand\n---\nnumber_of_components: 1\ncomponents:\n- weight: 5.0000000000000000e-01\n"
             "  mean: [ 3, 4 ] # means\n  inverse_covariance: [ .5, 0., 0.,\n    1e3 ]\n  dimension: 2\n  determinant: "
             ".Nan\n"
             "seen:\n   - [ [ a ], 1 ]\n   - at: 3\ndetection_threshold: -.Inf\n...\n";
    if (!other.flush()) {
        std::cerr << "velmor_fuzz_model_corpus: cannot write " << folder << "/other.yml\n";
        return 1;
    }
}

#pragma once

#include "gstreamer/FilterCaps.h"
#include "gstreamer/FilterRun.h"
#include "gstreamer/Models.h"
#include "gstreamer/Parameters.h"

#include <mutex>
#include <string>
#include <vector>

namespace velmor::gstreamer {

/// The operators that velmorfilter offers.
const std::vector<catalogue::Operator>& operatorsOfFilter();

/// Their parameters. Those that count for textures alone are left out.
const std::vector<catalogue::Parameter>& parametersOfFilter();

/// What one velmorfilter is set to. Any thread sets and reads it.
class FilterSettings
{
public:
    /// What an operator is made of, at one moment.
    struct Snapshot
    {
        FilterChoice choice;
        catalogue::Values values; ///< of the parameters of the operator
        Models models;

        bool operator==(const Snapshot& other) const
        {
            return choice == other.choice && values == other.values && models == other.models;
        }
    };

    /// What the properties ask for.
    FilterChoice choice() const;

    /// What they say of an operator, whether they ask for it or not.
    Snapshot snapshotOf(const FilterChoice& choice) const;

    void setOperator(int index);
    int operatorIndex() const;

    /// The numbers of the operators, each told by its property.
    Parameters parameters{parametersOfFilter()};

    void setScale(double scale);
    void setOffset(double offset);
    FloatsToBytes toBytes() const;

    /// Names files of models, and says what was read of them. Before the element is started nothing is read.
    void setModels(const std::vector<std::string>& files, const Models& models);
    std::vector<std::string> modelFiles() const;

private:
    mutable std::mutex mMutex;
    std::size_t mOperator = 0;
    FloatsToBytes mToBytes;
    std::vector<std::string> mModelFiles;
    Models mModels;
};

} // namespace velmor::gstreamer

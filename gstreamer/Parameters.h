#pragma once

#include "catalogue/Catalogue.h"

#include <gst/gst.h>

#include <mutex>
#include <string>
#include <vector>

namespace velmor::gstreamer {

/// What every property of an element that may change at any time is declared with. Controllers may drive it.
GParamFlags anyTime();

/// What a property is declared with that counts when the element goes to PAUSED.
GParamFlags untilPaused();

/// The parameters of all of some operators.
std::vector<catalogue::Parameter> parametersOf(const std::vector<catalogue::Operator>& operators);

/// Declares a property for each parameter of operators, by its name, with its range and its initial value. A choice
/// among words is an enumeration with the words as nicks, blanks as hyphens.
/// @param firstId  the identifier of the first one; the others follow
void declareParameters(GObjectClass* type, guint firstId, const std::vector<catalogue::Parameter>& parameters);

/// Declares the property "operator": the name of one of some operators.
void declareOperator(GObjectClass* type, guint id, const std::vector<catalogue::Operator>& operators);

/// Declares the properties "scale" and "offset", by which bytes are made of results.
/// @param firstId  the identifier of "scale"; that of "offset" follows
/// @param results  which ones, such as "results that are no bytes"
void declareLevels(GObjectClass* type, guint firstId, const std::string& results);

/// Sets the properties that controllers drive to what they are when a frame is shown.
/// @param segment  that the frame is in
void followControllers(gpointer element, const GstSegment& segment, GstBuffer* frame);

/// What the properties of one element say of its operator. Any thread sets and reads them.
class Parameters
{
public:
    /// All at their initial values.
    explicit Parameters(const std::vector<catalogue::Parameter>& parameters);

    /// Sets the parameter of some index from the value of its property.
    void set(std::size_t index, const GValue& value);

    /// Gives the parameter of some index to the value of its property.
    void get(std::size_t index, GValue& value) const;

    /// The values of the parameters that an operator has.
    catalogue::Values valuesFor(const catalogue::Operator& what) const;

private:
    const std::vector<catalogue::Parameter> mParameters;
    mutable std::mutex mMutex;
    std::vector<double> mValues;
};

} // namespace velmor::gstreamer

#pragma once

#include "gstreamer/FilterCaps.h"
#include "gstreamer/FilterRun.h"
#include "gstreamer/FilterSettings.h"

#include <gst/base/gstbasetransform.h>

#include <memory>
#include <mutex>
#include <string>

namespace velmor::gstreamer {

/// What frames of a velmorfilter go through, and how that follows its settings.
///
/// An operator may need other caps. Then upstream is asked for them, and until they come the former operator goes on.
/// So it does where no such caps are possible, or where the models do not fit, which a warning tells of once.
class FilterChanges
{
public:
    /// @param settings  outlive this
    explicit FilterChanges(const FilterSettings& settings) : mSettings(settings) {}

    /// Begins with what the settings say.
    /// @throws std::invalid_argument  when the models do not fit
    void start();

    void stop();

    /// Whether it has been started. Any thread asks.
    bool isStarted() const;

    /// The choice that the caps of a pad go with. Frames go through the former operator as long as they come in the
    /// caps of before, or in others that the wanted one does not take. Any thread asks.
    FilterChoice choiceFor(GstBaseTransform* base, GstPadDirection direction, GstCaps* caps) const;

    // What follows is the streaming thread's.

    /// What frames go through.
    const FilterChoice& active() const { return mActive; }

    /// What makes their results, where active() gives pictures. To be had after followSettings().
    const FilterRun& run() const { return *mRun; }

    /// Follows the choice of the settings, before a frame.
    void followChoice(GstBaseTransform* base);

    /// Makes the filter anew where other settings have changed.
    void followSettings(GstBaseTransform* base);

    /// Takes what is wanted for caps that have been settled, if it leads from one to the other.
    /// @return whether what is active now does
    bool settle(GstBaseTransform* base, const GstCaps* in, const GstCaps* out);

private:
    using Snapshot = FilterSettings::Snapshot;

    void setChoices(const FilterChoice& active, const FilterChoice& wanted);
    void change(GstBaseTransform* base, const Snapshot& snapshot);
    void warn(GstBaseTransform* base, const FilterChoice& refused, const std::string& why) const;

    const FilterSettings& mSettings;

    mutable std::mutex mMutex; ///< of the next three, which the streaming thread alone writes while there are frames
    bool mIsStarted = false;
    FilterChoice mActive;
    FilterChoice mWanted; ///< what caps are told of: differs while upstream is asked for another format

    Snapshot mTried;                 ///< what was last asked for of the active choice
    std::unique_ptr<FilterRun> mRun; ///< the last of what was tried that could be made; none where numbers are given
    Snapshot mWantedSnapshot;        ///< what is wanted, where upstream is asked for another format
    std::unique_ptr<FilterRun> mWantedRun; ///< made of it beforehand, so that it cannot fail when that format comes
    Snapshot mRefused;                     ///< what has been told to be impossible
};

} // namespace velmor::gstreamer

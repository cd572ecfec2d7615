#pragma once

#include "gstreamer/FilterCaps.h"
#include "gstreamer/FilterRun.h"
#include "gstreamer/FilterSettings.h"

#include <gst/base/gstbasetransform.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmor::gstreamer {

/// What frames of a velmorfilter go through, and how that follows its settings.
///
/// An operator may need other caps. Then upstream is asked for them, and until they come the former operator goes on.
/// So it does where no such caps are possible, or where the models do not fit, which a warning tells of once.
///
/// Upstream may be a queue behind its source: caps that were asked for then come when another operator is wanted. Their
/// frames go through the last one that takes them, while upstream is asked for the caps of the wanted one.
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

    /// The choice that caps are told of. Any thread asks.
    FilterChoice wanted() const;

    /// How often a choice has come to be wanted. Any thread asks.
    std::uint64_t wishes() const;

    /// The choice that the caps of a pad go with: of frames that come in the caps of before what they go through, of
    /// other frames the last one that can go with them, and otherwise the wanted one. Any thread asks.
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

    /// Takes the last choice that leads from one to the other of caps that have been settled.
    /// @return whether there is one
    bool settle(GstBaseTransform* base, const GstCaps* in, const GstCaps* out);

private:
    using Snapshot = FilterSettings::Snapshot;

    void want(const Snapshot& snapshot);
    void activate(const Snapshot& snapshot, std::unique_ptr<FilterRun> run);
    void change(GstBaseTransform* base, const Snapshot& snapshot);
    void warn(GstBaseTransform* base, const FilterChoice& refused, const std::string& why) const;

    const FilterSettings& mSettings;

    mutable std::mutex mMutex; ///< of the next four, which the streaming thread alone writes while there are frames
    bool mIsStarted = false;
    FilterChoice mActive;
    std::vector<Snapshot> mWanted; ///< all that has been wanted, each choice once, the last one first: caps are told of
                                   ///< that one, and it differs from mActive while upstream is asked for another format
    std::uint64_t mWishes = 0;

    Snapshot mTried;                 ///< what was last asked for of the active choice
    std::unique_ptr<FilterRun> mRun; ///< the last of what was tried that could be made; none where numbers are given
    Snapshot mRefused;               ///< what has been told to be impossible
};

} // namespace velmor::gstreamer

#include "gstreamer/FilterChanges.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace velmor::gstreamer {
namespace {

/// Makes what frames go through: nothing where numbers are given.
/// @throws std::invalid_argument  when the models do not fit
std::unique_ptr<FilterRun> make(const FilterSettings::Snapshot& snapshot)
{
    if (givesNumbers(snapshot.choice))
        return nullptr;
    return std::make_unique<FilterRun>(snapshot.choice, snapshot.values, snapshot.models);
}

void applyMode(GstBaseTransform* base, const FilterChoice& choice)
{
    gst_base_transform_set_passthrough(base, givesNumbers(choice));
    gst_base_transform_set_in_place(base, FilterRun::isInPlace(choice));
}

} // namespace

void FilterChanges::start()
{
    const Snapshot snapshot = mSettings.snapshotOf(mSettings.choice());
    activate(snapshot, make(snapshot));
    mRefused = Snapshot();
    const std::lock_guard lock(mMutex);
    mIsStarted = true;
}

void FilterChanges::stop()
{
    mRun.reset();
    const std::lock_guard lock(mMutex);
    mWanted.clear();
    mIsStarted = false;
}

bool FilterChanges::isStarted() const
{
    const std::lock_guard lock(mMutex);
    return mIsStarted;
}

FilterChoice FilterChanges::wanted() const
{
    const std::lock_guard lock(mMutex);
    return mIsStarted ? mWanted.front().choice : mSettings.choice();
}

std::uint64_t FilterChanges::wishes() const
{
    const std::lock_guard lock(mMutex);
    return mWishes;
}

FilterChoice FilterChanges::choiceFor(GstBaseTransform* base, GstPadDirection direction, GstCaps* caps) const
{
    if (direction != GST_PAD_SINK || !gst_caps_is_fixed(caps))
        return wanted();
    const bool isSame = comesNow(base, caps);
    std::vector<FilterChoice> choices;
    {
        const std::lock_guard lock(mMutex);
        if (!mIsStarted)
            return mSettings.choice();
        // A thread that reads caps while others come may have read those of before the active choice.
        if (isSame && takes(mActive, caps))
            return mActive;
        for (const Snapshot& each : mWanted)
            choices.push_back(each.choice);
    }
    const auto found =
        std::find_if(choices.begin(), choices.end(), [&](const FilterChoice& each) { return fits(each, base, caps); });
    return found == choices.end() ? choices.front() : *found;
}

void FilterChanges::followChoice(GstBaseTransform* base)
{
    const FilterChoice choice = mSettings.choice();
    if (choice == mWanted.front().choice) {
        mRefused = Snapshot();
        return;
    }
    const Snapshot snapshot = mSettings.snapshotOf(choice);
    if (snapshot == mRefused)
        return;
    try {
        change(base, snapshot);
        mRefused = Snapshot();
    } catch (const std::invalid_argument& error) {
        mRefused = snapshot;
        warn(base, choice, error.what());
    }
}

void FilterChanges::followSettings(GstBaseTransform* base)
{
    Snapshot snapshot = mSettings.snapshotOf(mActive);
    if (snapshot == mTried)
        return;
    mTried = snapshot;
    try {
        mRun = make(snapshot);
    } catch (const std::invalid_argument& error) {
        warn(base, snapshot.choice, error.what());
    }
}

bool FilterChanges::settle(GstBaseTransform* base, const GstCaps* in, const GstCaps* out)
{
    const auto found =
        std::find_if(mWanted.begin(), mWanted.end(), [&](const Snapshot& each) { return leads(each.choice, in, out); });
    if (found == mWanted.end())
        return false;
    if (found->choice != mActive) {
        const Snapshot snapshot = *found;
        activate(snapshot, make(snapshot)); // which could be made when it was wanted
    }
    applyMode(base, mActive);
    mRefused = Snapshot(); // what was impossible may be possible now
    return true;
}

void FilterChanges::want(const Snapshot& snapshot)
{
    const std::lock_guard lock(mMutex);
    mWanted.erase(std::remove_if(mWanted.begin(), mWanted.end(),
                                 [&](const Snapshot& each) { return each.choice == snapshot.choice; }),
                  mWanted.end());
    mWanted.insert(mWanted.begin(), snapshot);
    ++mWishes;
}

void FilterChanges::activate(const Snapshot& snapshot, std::unique_ptr<FilterRun> run)
{
    mRun = std::move(run);
    mTried = snapshot;
    want(snapshot);
    const std::lock_guard lock(mMutex);
    mActive = snapshot.choice;
}

/// Changes to another choice, or asks upstream for what it needs.
/// @throws std::invalid_argument  saying why neither can be done
void FilterChanges::change(GstBaseTransform* base, const Snapshot& snapshot)
{
    const FilterChoice& choice = snapshot.choice;
    std::unique_ptr<FilterRun> run = make(snapshot);
    if (fitsNow(choice, base)) {
        activate(snapshot, std::move(run));
        applyMode(base, choice);
        gst_base_transform_reconfigure_src(base);
    } else if (couldFit(choice, base)) {
        want(snapshot);
        gst_base_transform_reconfigure_sink(base);
    } else {
        throw std::invalid_argument("the elements around it have no format for it");
    }
}

void FilterChanges::warn(GstBaseTransform* base, const FilterChoice& refused, const std::string& why) const
{
    GST_ELEMENT_WARNING(base, RESOURCE, SETTINGS, ("%s cannot be used: %s", refused.what->name.c_str(), why.c_str()),
                        ("The operator stays %s as it was.", mActive.what->name.c_str()));
}

} // namespace velmor::gstreamer

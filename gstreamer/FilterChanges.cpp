#include "gstreamer/FilterChanges.h"

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
    const FilterChoice choice = mSettings.choice();
    mTried = mSettings.snapshotOf(choice);
    mRun = make(mTried);
    mRefused = Snapshot();
    setChoices(choice, choice);
    const std::lock_guard lock(mMutex);
    mIsStarted = true;
}

void FilterChanges::stop()
{
    mRun.reset();
    mWantedRun.reset();
    const std::lock_guard lock(mMutex);
    mIsStarted = false;
}

bool FilterChanges::isStarted() const
{
    const std::lock_guard lock(mMutex);
    return mIsStarted;
}

FilterChoice FilterChanges::choiceFor(GstBaseTransform* base, GstPadDirection direction, GstCaps* caps) const
{
    const bool comesIn = direction == GST_PAD_SINK && gst_caps_is_fixed(caps);
    const bool isSame = comesIn && comesNow(base, caps);
    const std::lock_guard lock(mMutex);
    if (!mIsStarted)
        return mSettings.choice();
    return isSame || (comesIn && !takes(mWanted, caps)) ? mActive : mWanted;
}

void FilterChanges::followChoice(GstBaseTransform* base)
{
    const FilterChoice choice = mSettings.choice();
    if (choice == mWanted) {
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
    if (mActive != mWanted && leads(mWanted, in, out)) {
        setChoices(mWanted, mWanted);
        mRun = std::move(mWantedRun);
        mTried = mWantedSnapshot;
    }
    applyMode(base, mActive);
    mRefused = Snapshot(); // what was impossible may be possible now
    return leads(mActive, in, out);
}

void FilterChanges::setChoices(const FilterChoice& active, const FilterChoice& wanted)
{
    const std::lock_guard lock(mMutex);
    mActive = active;
    mWanted = wanted;
}

/// Changes to another choice, or asks upstream for what it needs.
/// @throws std::invalid_argument  saying why neither can be done
void FilterChanges::change(GstBaseTransform* base, const Snapshot& snapshot)
{
    const FilterChoice& choice = snapshot.choice;
    std::unique_ptr<FilterRun> run = make(snapshot);
    if (fitsNow(choice, base)) {
        setChoices(choice, choice);
        mRun = std::move(run);
        mTried = snapshot;
        applyMode(base, choice);
        gst_base_transform_reconfigure_src(base);
    } else if (couldFit(choice, base)) {
        setChoices(mActive, choice);
        mWantedRun = std::move(run);
        mWantedSnapshot = snapshot;
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

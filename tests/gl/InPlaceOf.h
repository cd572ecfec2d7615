#pragma once

namespace velmor::tests {

/// Puts a function in the place of one of GLEW's while it lives.
template<typename Function>
class InPlaceOf
{
public:
    InPlaceOf(Function& place, Function function) : mPlace(place), mBefore(place) { place = function; }
    InPlaceOf(const InPlaceOf&) = delete;
    InPlaceOf& operator=(const InPlaceOf&) = delete;
    ~InPlaceOf() { mPlace = mBefore; }

private:
    Function& mPlace;
    Function mBefore;
};

} // namespace velmor::tests

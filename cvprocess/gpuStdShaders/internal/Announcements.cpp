#include "cvprocess/gpuStdShaders/internal/Announcements.h"

#include <iostream>

namespace velmor::cvprocess {
namespace {

thread_local std::ostream* instead = nullptr;

} // namespace

std::ostream& announcements()
{
    return instead ? *instead : std::cout;
}

Silence::Silence()
{
    instead = &mNowhere;
}

Silence::~Silence()
{
    instead = nullptr;
}

} // namespace velmor::cvprocess

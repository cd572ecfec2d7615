#include "bench/BesideMemory.h"
#include "bench/NativeFilters.h"
#include "native/And.h"
#include "native/Classify.h"
#include "native/Not.h"
#include "native/Or.h"
#include "native/Subtract.h"
#include "native/Xor.h"

#include <memory>

namespace velmor::bench {

void addLogic()
{
    const std::pair<const char*, std::shared_ptr<const native::Filter>> filters[] = {
        {"And", std::make_shared<native::And>()},           {"Or", std::make_shared<native::Or>()},
        {"Xor", std::make_shared<native::Xor>()},           {"Not", std::make_shared<native::Not>()},
        {"Subtract", std::make_shared<native::Subtract>()}, {"Classify", std::make_shared<native::Classify>()}};
    for (const auto& [name, filter] : filters)
        for (const int type : {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3})
            add(std::string(name) + "/" + cv::typeToString(type) + "/memory",
                [filter = filter, type] { return besideMemory(filter, type); });
}

} // namespace velmor::bench

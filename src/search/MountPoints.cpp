#include "search/MountPoints.h"

#include <cstdio>
#include <mntent.h>

namespace Kerf::Search {

namespace {

/// Mount points of a table, without a trailing separator ("/" stays "/").
std::unordered_set<std::string> mountPointsOf(const std::string& table) {
    std::unordered_set<std::string> points;
    std::FILE* file = ::setmntent(table.c_str(), "r");
    if (file == nullptr)
        return points;
    mntent entry{};
    char buffer[4096];
    while (::getmntent_r(file, &entry, buffer, sizeof buffer) != nullptr) {
        std::string point = entry.mnt_dir != nullptr ? entry.mnt_dir : "";
        if (point.empty() || point[0] != '/')
            continue; // "none", swap
        while (point.size() > 1 && point.back() == '/')
            point.pop_back();
        points.insert(std::move(point));
    }
    ::endmntent(file);
    return points;
}

} // namespace

std::unordered_set<std::string> unmountedMountPoints(const std::string& expected,
                                                     const std::string& mounted) {
    std::unordered_set<std::string> points = mountPointsOf(expected);
    for (const auto& point : mountPointsOf(mounted))
        points.erase(point);
    return points;
}

} // namespace Kerf::Search

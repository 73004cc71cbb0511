// Filters a cache of 10,000 filing locations one keystroke at a time, as the
// location pane does while the user types, and prints the time per keystroke
// beside a plain pass over the same rows measured in the same run.
//
//   stores_filter_bench [ROWS]

#include "stores/MsgStoresListModel.h"
#include "support/Strings.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>

using Kerf::QuireLib::CMsgStoresListModel;
using Kerf::QuireLib::LocationRow;
using Kerf::QuireLib::LocationRows;
using Clock = std::chrono::steady_clock;

namespace {

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

LocationRows makeRows(size_t count) {
    static const wchar_t* const clients[] = {L"Acme",   L"Bolt & Sons", L"Cobalt",  L"Dunmore",
                                             L"Elbury", L"Fenwick",     L"Granger", L"Hollis"};
    static const wchar_t* const words[] = {L"tower",  L"bridge", L"annex", L"survey", L"claim",
                                           L"tender", L"lease",  L"audit", L"school", L"depot"};
    std::mt19937 random(42);
    LocationRows rows;
    rows.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const std::wstring job = L"J" + std::to_wstring(10000 + random() % 90000);
        const std::wstring client = clients[random() % 8];
        const std::wstring description = std::wstring(words[random() % 10]) + L" " +
                                         words[random() % 10] + L" " +
                                         std::to_wstring(2000 + random() % 25);
        rows.push_back({{L"store_id", std::to_wstring(i + 1)},
                        {L"primary_ref", job},
                        {L"secondary_ref", client},
                        {L"description", description},
                        {L"path_location", L"\\\\fileserver\\jobs\\" + client + L"\\" + job}});
    }
    return rows;
}

} // namespace

int main(int argc, char** argv) {
    const size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 10000;

    // The model reads the user's list of central filing lists: point it at an empty folder.
    char folder[] = "/tmp/qosearch-bench-XXXXXX";
    if (mkdtemp(folder) == nullptr)
        return 1;
    setenv("XDG_DATA_HOME", folder, 1);
    setenv("XDG_CONFIG_HOME", folder, 1);

    const LocationRows rows = makeRows(count);
    CMsgStoresListModel model;

    auto start = Clock::now();
    model.PushOnLocationsCache(rows, Kerf::QuireLib::eFileSystemFolder);
    model.DisplayFilteredStoreLocationsCache(L"");
    const double loadMs = msSince(start);

    // Reference, per keystroke too: a plain pass over the cached rows that joins
    // the four searched fields, lower-cases them and looks for the text.
    const std::wstring keys[] = {L"primary_ref", L"secondary_ref", L"description",
                                 L"path_location"};
    const auto plainPass = [&](const std::wstring& text) {
        const std::wstring needle = Kerf::Util::toLower(text);
        size_t found = 0;
        for (const LocationRow& row : model.GetLocationsCache()) {
            std::wstring joined;
            for (const auto& key : keys)
                joined += (joined.empty() ? L"" : L"__") + row.at(key);
            found += Kerf::Util::toLower(joined).find(needle) != std::wstring::npos;
        }
        return found;
    };

    // Type a filter, then delete it again, one character at a time.
    const std::wstring typed = L"Tower annex 201";
    double totalMs = 0, worstMs = 0, passTotalMs = 0;
    size_t keystrokes = 0, shownAtEnd = 0, passFound = 0;
    const auto keystroke = [&](const std::wstring& text) {
        auto t = Clock::now();
        model.Filter(text);
        const double ms = msSince(t);
        totalMs += ms;
        worstMs = std::max(worstMs, ms);
        ++keystrokes;
        t = Clock::now();
        passFound = plainPass(text);
        passTotalMs += msSince(t);
    };
    for (size_t n = 1; n <= typed.size(); ++n)
        keystroke(typed.substr(0, n));
    shownAtEnd = model.GetRowCount();
    const size_t passFoundAtEnd = passFound;
    for (size_t n = typed.size(); n-- > 0;)
        keystroke(typed.substr(0, n));

    start = Clock::now();
    model.Sort(CMsgStoresListModel::eColDescription, false);
    const double sortMs = msSince(start);

    std::printf("filing-store list: %zu cached rows, %zu keystrokes typing and deleting \"%ls\" "
                "(%zu rows match it; the plain pass finds %zu)\n",
                model.GetLocationsCache().size(), keystrokes, typed.c_str(), shownAtEnd,
                passFoundAtEnd);
    std::printf("  filter per keystroke: mean %.3f ms, worst %.3f ms (target <= 20 ms)\n",
                totalMs / keystrokes, worstMs);
    std::printf("  reference, plain pass over the rows (join, lower-case, search): mean %.3f ms\n",
                passTotalMs / keystrokes);
    std::printf("  first load into the cache and display: %.3f ms; re-sort by another column: "
                "%.3f ms\n",
                loadMs, sortMs);

    std::filesystem::remove_all(folder);
    return worstMs <= 20.0 ? 0 : 1;
}

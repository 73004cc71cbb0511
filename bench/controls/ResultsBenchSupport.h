#pragma once
// What the two results-list benchmarks share: their command line, the clock,
// the generated result rows, a heading click and the report line. Both draw
// their rows from the same seed, so the bare list and the window are measured
// on the same data.

#include "controls/ResultsRow.h"
#include "controls/SortListCtrl.h"

#include <QCoreApplication>
#include <QString>
#include <QTest>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace ResultsBench {

namespace RR = Kerf::QuireLib::ResultsRow;

using Clock = std::chrono::steady_clock;

inline double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Options {
    int rows = 20000;
    QString localeName = QStringLiteral("en_US");
};

/// "--rows N" and "--locale NAME", in any order; anything else is skipped.
inline Options parseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--rows") == 0)
            options.rows = std::atoi(argv[i + 1]);
        else if (std::strcmp(argv[i], "--locale") == 0)
            options.localeName = argv[i + 1];
    }
    return options;
}

/// Messages as a large filing would hold them: a few people, subjects with
/// and without reply and forward prefixes, twenty years of dates, and files
/// spread over the given number of folders.
inline std::vector<RR::Hit> makeHits(int count, int directories) {
    std::mt19937 random(20240607);
    const std::vector<std::wstring> people{L"Ann Smith",   L"Bob Jones",  L"Carla Diaz",
                                           L"Dieter Kühn", L"Emma Brown", L"Farid Haddad",
                                           L"Grace Lee",   L"Hugo Meyer"};
    const std::vector<std::wstring> topics{
        L"Budget",   L"Site visit", L"Invoice",  L"Contract draft", L"Minutes",   L"Tender",
        L"Planning", L"Snag list",  L"Drawings", L"Fee proposal",   L"Programme", L"Variation"};
    const std::vector<std::wstring> prefixes{L"", L"", L"RE: ", L"FW: ", L"Re: "};
    std::vector<RR::Hit> hits(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        RR::Hit& h = hits[static_cast<size_t>(i)];
        h.from = people[random() % people.size()];
        h.to = people[random() % people.size()];
        h.normalisedSubject =
            topics[random() % topics.size()] + L" " + std::to_wstring(random() % 500);
        h.subject = prefixes[random() % prefixes.size()] + h.normalisedSubject;
        h.sent = {2005 + static_cast<int>(random() % 20), 1 + static_cast<int>(random() % 12),
                  1 + static_cast<int>(random() % 28),    static_cast<int>(random() % 24),
                  static_cast<int>(random() % 60),        static_cast<int>(random() % 60)};
        h.size = static_cast<std::int32_t>(1000 + random() % 5000000);
        h.attachments = static_cast<std::int32_t>(random() % 4);
        h.location = L"/srv/filing/Project " +
                     std::to_wstring(random() % static_cast<unsigned>(directories)) + L"/Mail/" +
                     std::to_wstring(i) + L".msg";
    }
    return hits;
}

inline void clickHeading(Kerf::QuireLib::CSortListCtrl& list, int column) {
    auto& header = list.GetHeaderCtrl();
    const QPoint centre(header.sectionViewportPosition(column) + header.sectionSize(column) / 2,
                        header.height() / 2);
    QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, centre);
    QCoreApplication::processEvents(); // the repaint belongs to the sort
}

/// Prints the figure beside its reference; false when it is over the limit.
inline bool report(const char* what, double ms, double limitMs, const char* refWhat, double refMs) {
    const bool ok = ms <= limitMs;
    std::printf("%-44s %8.1f ms  (limit %6.0f ms, %s)\n", what, ms, limitMs,
                ok ? "ok" : "OVER LIMIT");
    std::printf("  reference: %-32s %8.1f ms\n", refWhat, refMs);
    return ok;
}

} // namespace ResultsBench

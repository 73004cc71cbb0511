// Fills the results list with 20,000 rows the way a search does (bulk add,
// a sort column chosen, the status line rewritten every tenth row), then
// sorts it by a heading click. Each figure is printed beside a reference
// measured in the same run: the same texts put in a plain vector, and a
// plain std::sort of the same sort texts.
//
// Run: QT_QPA_PLATFORM=offscreen bench_results_list [--rows N] [--locale NAME]

#include "ResultsBenchSupport.h"
#include "controls/ResultsRow.h"
#include "controls/SortListCtrl.h"

#include <QApplication>
#include <QLabel>
#include <QLocale>
#include <QTest>
#include <QVBoxLayout>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace RR = Kerf::QuireLib::ResultsRow;
using Kerf::QuireLib::CSortListCtrl;
using ResultsBench::clickHeading;
using ResultsBench::Clock;
using ResultsBench::msSince;
using ResultsBench::report;

int main(int argc, char** argv) {
    const ResultsBench::Options options = ResultsBench::parseOptions(argc, argv);
    const int rows = options.rows;
    QApplication app(argc, argv);
    QLocale::setDefault(QLocale(options.localeName));

    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* list = new CSortListCtrl(1004);
    auto* status = new QLabel;
    layout->addWidget(list);
    layout->addWidget(status);
    list->SetHeadings(RR::kHeadings);
    window.resize(1000, 700);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window)) {
        std::fprintf(stderr, "window was not shown\n");
        return 2;
    }

    const std::vector<RR::Hit> hits = ResultsBench::makeHits(rows, 40);
    std::printf("%d result rows, collation locale %s, platform %s\n", rows,
                qPrintable(QLocale().name()), qPrintable(QGuiApplication::platformName()));

    // Reference: the same row texts built and kept in a plain vector.
    auto start = Clock::now();
    std::vector<RR::Texts> plain;
    plain.reserve(hits.size());
    for (const RR::Hit& hit : hits)
        plain.push_back(RR::buildTexts(hit));
    const double plainFillMs = msSince(start);

    // The search: newest first, as a user who sorted by Sent would see it.
    list->Sort(RR::Sent, false);
    double statusMs = 0;
    start = Clock::now();
    list->startOptimisedAdd(rows);
    for (int i = 0; i < rows; ++i) {
        RR::insertRow(*list, RR::buildTexts(hits[static_cast<size_t>(i)]));
        if ((i + 1) % 10 == 0) {
            const auto statusStart = Clock::now();
            status->setText(QStringLiteral("%1 matches in %1 messages from 40 directories. "
                                           "Searching...")
                                .arg(i + 1));
            status->repaint();
            list->Sort(list->GetSortColumn(), list->IsSortAscending());
            statusMs += msSince(statusStart);
        }
    }
    list->finishOptimisedAdd();
    status->setText(QStringLiteral("%1 matches found in less than 1 second").arg(rows));
    QCoreApplication::processEvents();
    const double fillMs = msSince(start);

    // References for the sort: the same Subject sort texts in a plain vector.
    std::vector<QString> subjects;
    std::vector<std::wstring> subjectsWide;
    for (int row = 0; row < list->GetItemCount(); ++row) {
        subjectsWide.push_back(list->GetSortText(row, RR::Subject));
        subjects.push_back(QString::fromStdWString(subjectsWide.back()));
    }
    start = Clock::now();
    std::sort(subjects.begin(), subjects.end(),
              [](const QString& a, const QString& b) { return a.localeAwareCompare(b) < 0; });
    const double localeSortMs = msSince(start);
    start = Clock::now();
    std::sort(subjectsWide.begin(), subjectsWide.end());
    const double plainSortMs = msSince(start);

    start = Clock::now();
    clickHeading(*list, RR::Subject);
    const double clickMs = msSince(start);
    start = Clock::now();
    clickHeading(*list, RR::Subject);
    const double reverseMs = msSince(start);
    const bool sortedRight = list->GetSortColumn() == RR::Subject && !list->IsSortAscending() &&
                             list->GetItemCount() == rows;

    bool ok = report("bulk insert with status updates", fillMs, 1500,
                     "plain vector fill of the texts", plainFillMs);
    std::printf("  of which status updates (%d repaints)       %8.1f ms\n", rows / 10, statusMs);
    ok = report("heading click sort (Subject, ascending)", clickMs, 200,
                "std::sort, localeAwareCompare", localeSortMs) &&
         ok;
    ok = report("second click (Subject, reversed)", reverseMs, 200, "std::sort, plain wstring <",
                plainSortMs) &&
         ok;
    if (!sortedRight) {
        std::printf("the list is not in the expected state after the clicks\n");
        return 1;
    }
    return ok ? 0 : 1;
}

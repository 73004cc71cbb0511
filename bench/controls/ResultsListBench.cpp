// Fills the results list with 20,000 rows the way a search does (bulk add,
// a sort column chosen, the status line rewritten every tenth row), then
// sorts it by a heading click. Each figure is printed beside a reference
// measured in the same run: the same texts put in a plain vector, and a
// plain std::sort of the same sort texts.
//
// Run: QT_QPA_PLATFORM=offscreen bench_results_list [--rows N] [--locale NAME]

#include "controls/ResultsRow.h"
#include "controls/SortListCtrl.h"

#include <QApplication>
#include <QLabel>
#include <QLocale>
#include <QTest>
#include <QVBoxLayout>
#include <QWidget>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace RR = Kerf::QuireLib::ResultsRow;
using Kerf::QuireLib::CSortListCtrl;

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::vector<RR::Hit> makeHits(int count) {
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
        h.location = L"/srv/filing/Project " + std::to_wstring(random() % 40) + L"/Mail/" +
                     std::to_wstring(i) + L".msg";
    }
    return hits;
}

void clickHeading(CSortListCtrl& list, int column) {
    auto& header = list.GetHeaderCtrl();
    const QPoint centre(header.sectionViewportPosition(column) + header.sectionSize(column) / 2,
                        header.height() / 2);
    QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, centre);
    QCoreApplication::processEvents(); // the repaint belongs to the sort
}

bool report(const char* what, double ms, double limitMs, const char* refWhat, double refMs) {
    const bool ok = ms <= limitMs;
    std::printf("%-44s %8.1f ms  (limit %6.0f ms, %s)\n", what, ms, limitMs,
                ok ? "ok" : "OVER LIMIT");
    std::printf("  reference: %-32s %8.1f ms\n", refWhat, refMs);
    return ok;
}

} // namespace

int main(int argc, char** argv) {
    int rows = 20000;
    QString localeName = "en_US";
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--rows") == 0)
            rows = std::atoi(argv[i + 1]);
        else if (std::strcmp(argv[i], "--locale") == 0)
            localeName = argv[i + 1];
    }
    QApplication app(argc, argv);
    QLocale::setDefault(QLocale(localeName));

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

    const std::vector<RR::Hit> hits = makeHits(rows);
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

// Feeds 20,000 result rows to the search window the way the search cycle
// does (bulk add, a sort column chosen, the status line rewritten every
// tenth row and at the end), then sorts them by a click on a heading. Each
// figure is printed beside a reference measured in the same run: the same
// rows put into a bare results list, and a plain sort of the same texts.
//
// Run: bench_window [--rows N] [--locale NAME]   (QT_QPA_PLATFORM=offscreen
// when there is no display)

#include "ResultsBenchSupport.h"
#include "app/QoSearchDlg.h"
#include "app/SearchLocation.h"
#include "controls/ResultsRow.h"
#include "controls/SortListCtrl.h"
#include "mail/StatusTexts.h"
#include "support/Strings.h"

#include <QApplication>
#include <QLineEdit>
#include <QLocale>
#include <QRadioButton>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace RR = Kerf::QuireLib::ResultsRow;
namespace Texts = Kerf::QuireLib::StatusTexts;
using Kerf::QuireLib::CEmailMetadata;
using Kerf::QuireLib::CSortListCtrl;
using ResultsBench::clickHeading;
using ResultsBench::Clock;
using ResultsBench::msSince;
using ResultsBench::report;

namespace {

// The records the query runner would hand the window for the generated rows.
std::vector<CEmailMetadata> makeRecords(int count, int directories) {
    std::vector<RR::Hit> hits = ResultsBench::makeHits(count, directories);
    std::vector<CEmailMetadata> records(hits.size());
    for (size_t i = 0; i < hits.size(); ++i) {
        RR::Hit& h = hits[i];
        CEmailMetadata& r = records[i];
        r.SetStringValue(L"From", std::move(h.from));
        r.SetStringValue(L"To", std::move(h.to));
        r.SetStringValue(L"Subject", std::move(h.subject));
        r.SetStringValue(L"Normalised_Subject", std::move(h.normalisedSubject));
        r.SetStringValue(L"Location", std::move(h.location));
        r.SetSentDate(Kerf::OleDate{Kerf::Dates::toOleDate(h.sent)});
        r.SetSize(h.size);
        r.SetNonEmbeddedAttachments(h.attachments);
    }
    return records;
}

// What the search cycle does with one pass of the query: the status first,
// the rows in bulk, the status every tenth row with the pending sort, the
// forced status at the end, then the bulk add closed.
void feedLikeTheCycle(Kerf::QuireLib::ISearchView& view, const std::vector<CEmailMetadata>& records,
                      size_t directories) {
    view.setStatusText(Texts::kDisplayingResults);
    view.beginWaitCursor();
    view.startOptimisedAdd(records.size());
    for (const CEmailMetadata& record : records) {
        view.insertItem(record);
        const size_t count = view.getItemCount();
        if (Texts::shouldShowSearchProgress(count, false)) {
            view.setStatusText(Texts::searchProgress(count, count, directories));
            view.sortPendingRows();
        }
    }
    view.setStatusText(Texts::searchProgress(records.size(), records.size(), directories));
    view.sortPendingRows();
    view.endWaitCursor();
    view.finishOptimisedAdd();
    view.setStatusText(Texts::matchesFound(records.size(), 3));
}

// The window keeps settings and an index; both go to a folder of the run's own.
std::filesystem::path redirectUserFolders() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "qosearch-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        std::exit(2);
    const std::filesystem::path base = pattern;
    std::filesystem::create_directories(base / "data");
    std::filesystem::create_directories(base / "config");
    setenv("XDG_DATA_HOME", (base / "data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (base / "config").c_str(), 1);
    return base;
}

} // namespace

int main(int argc, char** argv) {
    const ResultsBench::Options options = ResultsBench::parseOptions(argc, argv);
    const int rows = options.rows;
    const std::filesystem::path base = redirectUserFolders();
    QApplication app(argc, argv);
    QLocale::setDefault(QLocale(options.localeName));
    bool ok = true;
    {
        const Kerf::QuireLib::CRecursiveMailIndexer::IndexPlace place{
            Kerf::Util::fromPath(base / "index") + L"/",
            Kerf::Util::fromPath(base / "index" / "0.4")};
        CQoSearchDlg dlg(place);
        dlg.resize(1000, dlg.height());
        dlg.show();
        if (!QTest::qWaitForWindowExposed(&dlg)) {
            std::fprintf(stderr, "window was not shown\n");
            return 2;
        }
        // After a search of an empty folder.
        std::filesystem::create_directories(base / "empty");
        dlg.locationPane().GetFolderRadio().click();
        dlg.locationPane().GetFolderEdit().setText(
            QString::fromStdString((base / "empty").string()));
        dlg.OnBnClickedFindnow();
        while (dlg.cycle().isIndexing())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (!dlg.resultsList().isVisible()) {
            std::fprintf(stderr, "the results list does not show\n");
            return 2;
        }
        CSortListCtrl& list = dlg.resultsList();
        QWidget reference;
        CSortListCtrl bare(9999, &reference);
        bare.SetHeadings(RR::kHeadings);
        reference.resize(1000, 500);
        reference.show();
        (void)QTest::qWaitForWindowExposed(&reference);

        const size_t directories = 40;
        const std::vector<CEmailMetadata> records = makeRecords(rows, directories);
        std::printf("%d result rows, collation locale %s, platform %s\n", rows,
                    qPrintable(QLocale().name()), qPrintable(QGuiApplication::platformName()));

        // Reference: the same rows straight into a bare list, in bulk, no status.
        auto start = Clock::now();
        bare.Sort(RR::Sent, false);
        bare.startOptimisedAdd(rows);
        for (const CEmailMetadata& record : records)
            RR::insertRow(bare, RR::buildTexts(CQoSearchDlg::resultsHit(record)));
        bare.finishOptimisedAdd();
        QCoreApplication::processEvents();
        const double bareMs = msSince(start);

        // The window: newest first, as a user who sorted by Sent would see it.
        list.Sort(RR::Sent, false);
        start = Clock::now();
        feedLikeTheCycle(dlg, records, directories);
        QCoreApplication::processEvents();
        const double windowMs = msSince(start);
        const bool filled = list.GetItemCount() == rows && list.GetSortColumn() == RR::Sent;

        std::vector<QString> subjects;
        for (int row = 0; row < list.GetItemCount(); ++row)
            subjects.push_back(QString::fromStdWString(list.GetSortText(row, RR::Subject)));
        start = Clock::now();
        std::sort(subjects.begin(), subjects.end(),
                  [](const QString& a, const QString& b) { return a.localeAwareCompare(b) < 0; });
        const double referenceSortMs = msSince(start);

        start = Clock::now();
        clickHeading(list, RR::Subject);
        const double clickMs = msSince(start);
        const bool sorted = list.GetSortColumn() == RR::Subject && list.IsSortAscending();

        ok = report("20,000 rows through the window, with status", windowMs, 1500,
                    "bare list, same rows, no status", bareMs);
        ok = report("heading click sort (Subject)", clickMs, 200, "std::sort, localeAwareCompare",
                    referenceSortMs) &&
             ok;
        if (!filled || !sorted) {
            std::printf("the list is not in the expected state\n");
            ok = false;
        }
    }
    std::error_code ec;
    std::filesystem::remove_all(base, ec);
    return ok ? 0 : 1;
}

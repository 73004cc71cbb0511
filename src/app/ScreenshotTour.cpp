#include "app/ScreenshotTour.h"

#include "app/MessageViewer.h"
#include "app/QoSearchDlg.h"
#include "app/SearchCriteriaDlg.h"
#include "app/SearchLocation.h"
#include "controls/ResultsRow.h"
#include "controls/SortListCtrl.h"
#include "mail/SearchWords.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QDir>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMenu>
#include <QPixmap>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QTimer>

#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr int kSettleMs = 600; // time for the window to repaint between steps
constexpr int kSearchLimitMs = 120000;

class Tour : public QObject {
public:
    Tour(CQoSearchDlg& dlg, QString folder)
        : QObject(&dlg), m_dlg(&dlg), m_folder(std::move(folder)) {
        QDir().mkpath(m_folder);
    }

    void then(std::function<void()> step) { m_steps.push_back({std::move(step), false}); }
    /// A step for the indexer at work: as soon as its first counts show.
    void thenWhileIndexing(std::function<void()> step) {
        m_steps.push_back({std::move(step), true});
    }
    void start() {
        QTimer::singleShot(kSettleMs, this, [this] { next(); });
    }

    // Runs the next step once the search (if any) has ended and the filing
    // locations are there; a step for the indexer at work runs as soon as
    // the progress bar shows counts.
    void next() {
        if (!m_dlg || m_step >= m_steps.size())
            return;
        const bool duringIndexing = m_steps[m_step].whileIndexing;
        const bool loading = m_dlg->locationPane().GetLocationsList().IsLoading();
        const bool busy = duringIndexing
                              ? m_dlg->cycle().isIndexing() && m_dlg->progressBar().value() <= 0
                              : m_dlg->cycle().isBusy() || loading;
        if (busy && m_waitedMs < kSearchLimitMs) {
            const int pollMs = duringIndexing ? 20 : 200;
            m_waitedMs += pollMs;
            QTimer::singleShot(pollMs, this, [this] { next(); });
            return;
        }
        m_waitedMs = 0;
        m_steps[m_step++].run();
        const bool soon = m_step < m_steps.size() && m_steps[m_step].whileIndexing;
        QTimer::singleShot(soon ? 0 : kSettleMs, this, [this] { next(); });
    }

    // The window, and any popup over it, as the screen shows them.
    void save(const char* name, QWidget* popup = nullptr) {
        QRect area = m_dlg->frameGeometry();
        if (popup != nullptr && popup->isVisible())
            area = area.united(popup->frameGeometry());
        QPixmap picture;
        if (QScreen* screen = m_dlg->screen())
            picture = screen->grabWindow(0, area.x(), area.y(), area.width(), area.height());
        if (picture.isNull())
            picture = m_dlg->grab();
        const QString path = m_folder + QLatin1Char('/') + QLatin1String(name);
        if (!picture.save(path))
            std::fprintf(stderr, "qosearch: could not save %s\n", qPrintable(path));
        else
            std::printf("qosearch: saved %s\n", qPrintable(path));
    }

    // A window of its own (the message viewer) as the screen shows it.
    void saveWindow(const char* name, QWidget& window) {
        const QRect area = window.frameGeometry();
        QPixmap picture;
        if (QScreen* screen = window.screen())
            picture = screen->grabWindow(0, area.x(), area.y(), area.width(), area.height());
        if (picture.isNull())
            picture = window.grab();
        const QString path = m_folder + QLatin1Char('/') + QLatin1String(name);
        if (!picture.save(path))
            std::fprintf(stderr, "qosearch: could not save %s\n", qPrintable(path));
        else
            std::printf("qosearch: saved %s\n", qPrintable(path));
    }

    CQoSearchDlg& dlg() { return *m_dlg; }

private:
    QPointer<CQoSearchDlg> m_dlg;
    QString m_folder;
    struct Step {
        std::function<void()> run;
        bool whileIndexing;
    };
    std::vector<Step> m_steps;
    size_t m_step = 0;
    int m_waitedMs = 0;
};

} // namespace

void startScreenshotTour(CQoSearchDlg& dlg, const QString& folder) {
    auto* tour = new Tour(dlg, folder);
    // The whole of a small laptop screen.
    if (const QScreen* screen = dlg.screen())
        dlg.setGeometry(screen->availableGeometry());
    auto menu = std::make_shared<QPointer<QMenu>>();
    tour->then([tour] {
        // A user without filing locations gets the first start, and no more.
        if (tour->dlg().locationPane().IsShowingNoLocationsHint()) {
            tour->save("00-first-start.png");
            tour->dlg().reject();
            return;
        }
        tour->save("01-start.png");
    });
    tour->then([tour] {
        // Every filing location, as a user would pick them all.
        tour->dlg().locationPane().GetLocationsRadio().click();
        tour->dlg().locationPane().GetLocationsList().selectAll();
        tour->dlg().locationPane().GetLocationsList().setFocus();
    });
    tour->then([tour] { tour->save("02-locations.png"); });
    tour->then([tour] {
        CSearchCriteriaDlg& criteria = tour->dlg().criteriaPane();
        tour->dlg().ShowWindowNumber(CQoSearchDlg::eCriteriaPane);
        criteria.fromEdit().setText(QStringLiteral("Mike"));
        criteria.subjectEdit().setText(QStringLiteral("test message"));
        criteria.sentAfterCheck().setChecked(true);
        criteria.sentAfterDate().setDate(QDate(2009, 1, 1));
    });
    tour->then([tour] {
        tour->save("03-criteria.png");
        tour->dlg().criteriaPane().clearCriteria();
        tour->dlg().ShowWindowNumber(CQoSearchDlg::eLocationPane);
        tour->dlg().OnBnClickedFindnow();
    });
    tour->thenWhileIndexing([tour] {
        tour->dlg().repaint();
        tour->save("08-indexing-progress.png");
        // Stopped half-way: the results say they are partial.
        tour->dlg().OnBnClickedStop();
    });
    tour->then([tour] { tour->save("10-partial-results.png"); });
    tour->then([tour] { tour->dlg().searchAgainButton().click(); });
    tour->then([tour] {
        auto& list = tour->dlg().resultsList();
        list.Sort(Kerf::QuireLib::ResultsRow::Sent, false);
    });
    tour->then([tour] { tour->save("04-results.png"); });
    tour->then([tour] {
        auto& list = tour->dlg().resultsList();
        // A message with copy recipients shows the most of the preview.
        int row = 0;
        for (int i = 0; i < list.GetItemCount(); ++i)
            if (list.GetItemText(i, Kerf::QuireLib::ResultsRow::Subject) ==
                L"This is a test message please ignore") {
                row = i;
                break;
            }
        if (list.GetItemCount() > 0) {
            list.setCurrentIndex(list.model()->index(row, 0));
            list.scrollTo(list.model()->index(row, 0), QAbstractItemView::PositionAtCenter);
        }
    });
    tour->then([tour] { tour->save("05-preview.png"); });
    tour->then([tour, menu] {
        auto& list = tour->dlg().resultsList();
        const QModelIndex current = list.currentIndex();
        const QPoint at = current.isValid() ? list.visualRect(current).center() : QPoint(40, 20);
        *menu = tour->dlg().createResultsMenu(&tour->dlg());
        (*menu)->popup(list.viewport()->mapToGlobal(at));
    });
    tour->then([tour, menu] { tour->save("06-context-menu.png", menu->data()); });
    auto viewer = std::make_shared<QPointer<CMessageViewer>>();
    tour->then([tour, menu, viewer] {
        if (*menu)
            (*menu)->close();
        // A message with an HTML body, a PDF and an attached message.
        auto& list = tour->dlg().resultsList();
        for (int i = 0; i < list.GetItemCount(); ++i)
            if (list.GetItemText(i, Kerf::QuireLib::ResultsRow::Filename) ==
                L"poi_attachment_msg_pdf.msg") {
                *viewer = new CMessageViewer(tour->dlg().getItemPath(i), &tour->dlg());
                (*viewer)->move(tour->dlg().frameGeometry().topLeft() + QPoint(60, 40));
                (*viewer)->show();
                break;
            }
    });
    tour->then([tour, viewer] {
        if (*viewer)
            tour->saveWindow("07-viewer.png", **viewer);
    });
    tour->then([tour, viewer] {
        if (*viewer)
            (*viewer)->close();
    });
    tour->then([tour] {
        // A search for words in any field: the preview marks them.
        tour->dlg().focusSearchBox();
        tour->dlg().locationPane().GetKeywordsEdit().setText(QStringLiteral("quick fox"));
        tour->dlg().OnBnClickedFindnow();
    });
    tour->then([tour] {
        auto& list = tour->dlg().resultsList();
        if (list.GetItemCount() > 0)
            list.setCurrentIndex(list.model()->index(0, 0));
    });
    tour->then([tour] { tour->save("09-search-box-and-marked-preview.png"); });
    tour->then([tour] {
        tour->dlg().locationPane().GetKeywordsEdit().setText(QStringLiteral("SQLite Manager"));
        tour->dlg().OnBnClickedFindnow();
    });
    tour->then([tour, viewer] {
        // Pictures the body carries, and the searched words marked in it.
        auto& list = tour->dlg().resultsList();
        for (int i = 0; i < list.GetItemCount(); ++i)
            if (list.GetItemText(i, Kerf::QuireLib::ResultsRow::Filename) ==
                L"poi_attachment_msg_inlineImg.msg") {
                Kerf::QuireLib::SearchCriteria criteria;
                criteria.m_sKeywords = L"SQLite Manager";
                *viewer = new CMessageViewer(tour->dlg().getItemPath(i), &tour->dlg());
                (*viewer)->markSearchWords(Kerf::QuireLib::searchWords(criteria));
                (*viewer)->move(tour->dlg().frameGeometry().topLeft() + QPoint(60, 40));
                (*viewer)->show();
                break;
            }
    });
    tour->then([tour, viewer] {
        if (*viewer)
            tour->saveWindow("12-viewer-inline-pictures-marked-words.png", **viewer);
    });
    tour->then([tour, viewer] {
        if (*viewer)
            (*viewer)->close();
    });
    tour->then([tour] {
        // The preview below the list, as a user may choose.
        tour->dlg().setPreviewBelow(true);
    });
    tour->then([tour] {
        tour->save("11-preview-below.png");
        tour->dlg().setPreviewBelow(false);
        tour->dlg().reject();
    });
    tour->start();
}

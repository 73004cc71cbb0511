// qosearch: the search window, and the viewer of saved messages. One
// instance per user's index: a second start hands its files to the running
// one, or with none brings its window forward, and ends.

#include "app/AttachmentFolder.h"
#include "app/InstanceGuard.h"
#include "app/ProgramIcons.h"
#include "app/QoSearchApp.h"
#include "app/QoSearchDlg.h"
#include "app/ScreenshotTour.h"
#include "app/StartRequest.h"
#include "cycle/UserPlaces.h"
#include "search/IndexStorage.h"
#include "support/Trace.h"

#include <QDir>
#include <QSessionManager>
#include <QString>

#include <cstdlib>
#include <cstring>
#include <iostream>

namespace {

// Answered before any window system is asked for, so both work without a display.
bool answeredWithoutWindow(int argc, char** argv, int& status) {
    if (argc != 2)
        return false;
    if (std::strcmp(argv[1], "--version") == 0) {
        std::cout << "qosearch " QOSEARCH_VERSION "\n";
    } else if (std::strcmp(argv[1], "--help") == 0) {
        std::cout << "usage: qosearch [Qt options] [--search] [FILE.msg...]\n"
                     "       qosearch --help | --version\n\n"
                     "Opens the search window, or each message file given in a viewer of its\n"
                     "own (and the search window too with --search). A second start hands its\n"
                     "files to the running program, or brings its window to the front.\n"
                     "See qosearch(1) and the help page the window opens.\n";
    } else {
        return false;
    }
    status = 0;
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (int status = 0; answeredWithoutWindow(argc, argv, status))
        return status;
    CQoSearchApp app(argc, argv);
    app.setWindowIcon(programIcon());
    // The desktop matches the window to the installed qosearch.desktop (and its icon).
    app.setDesktopFileName(QStringLiteral("qosearch"));

    namespace UserPlaces = Kerf::QuireLib::UserPlaces;
    CInstanceGuard guard(
        QString::fromStdWString(UserPlaces::buildInstanceName(UserPlaces::buildIndexDirectory())));
    const StartRequest request = parseStartArguments(app.arguments().mid(1));
    if (!guard.claim(request.files))
        return 0;
    // Attachments opened by a run that crashed are still in the temporary folder.
    AttachmentFolder::clearStale(QDir::tempPath());

    try {
        CQoSearchDlg dlg;
        QObject::connect(&guard, &CInstanceGuard::raiseRequested, &dlg,
                         &CQoSearchDlg::bringToFront);
        QObject::connect(&guard, &CInstanceGuard::openRequested, &dlg, &openMessageFiles);
        // The end of the desktop session stops the work first.
        QObject::connect(&app, &QGuiApplication::commitDataRequest, &dlg, [&dlg](QSessionManager&) {
            Kerf::Trace::tracef("CQoSearchDlg::OnEndSession(%s)\n", "Ending=1");
            dlg.stopWork();
        });
        QObject::connect(&app, &QCoreApplication::aboutToQuit, &dlg, &CQoSearchDlg::stopWork);
        // The program ends when its window closes.
        QObject::connect(&dlg, &QDialog::finished, &app, &QCoreApplication::quit);
        // Opened for its files only, the program ends with their last viewer.
        if (request.showSearch)
            dlg.show();
        openMessageFiles(request.files);
        if (const char* folder = std::getenv("QOSEARCH_SCREENSHOTS"); folder && *folder)
            startScreenshotTour(dlg, QString::fromLocal8Bit(folder));
        app.exec();
    } catch (const Kerf::CExceptionBase& e) {
        reportException(e);
    } catch (const std::exception& e) {
        reportException(Kerf::CExceptionBase(L"An unexpected error occurred.", e));
    } catch (CLuceneError& e) {
        reportException(Kerf::CExceptionBase(L"An unexpected error occurred.",
                                             Kerf::CExceptionBase(Kerf::Search::describe(e))));
    } catch (...) {
        reportException(Kerf::CExceptionBase(L"An unexpected error occurred."));
    }
    return 0;
}

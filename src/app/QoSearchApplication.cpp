#include "app/QoSearchApplication.h"

#include "app/QoSearchApp.h"
#include "support/Strings.h"

#include <QMessageBox>

CQoSearchApplication::CQoSearchApplication(int& argc, char** argv) : QApplication(argc, argv) {
    setOrganizationName(QStringLiteral("Pellam"));
    setApplicationName(QStringLiteral("Quarto"));
}

bool CQoSearchApplication::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (const Kerf::CExceptionBase& e) {
        reportException(e);
    } catch (const std::exception& e) {
        reportException(Kerf::CExceptionBase(L"An unexpected error occurred.", e));
    }
    // Every event loop ends, and with it the window.
    QCoreApplication::exit(0);
    return false;
}

void reportException(const Kerf::CExceptionBase& e) {
    const QString caption = QString::fromWCharArray(CQoSearchApp::kErrorCaption);
    QMessageBox::critical(nullptr, caption,
                          QString::fromStdWString(CQoSearchApp::getErrorString(e)));
    CQoSearchApp::traceException(CQoSearchApp::kErrorCaption, e);
}

#include "app/QoSearchApp.h"

#include "controls/PlainText.h"

#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <QMessageBox>

CQoSearchApp::CQoSearchApp(int& argc, char** argv) : QApplication(argc, argv) {
    setOrganizationName(QString::fromStdWString(Kerf::Paths::vendorName()));
    setApplicationName(QString::fromStdWString(Kerf::Paths::productName()));
}

bool CQoSearchApp::notify(QObject* receiver, QEvent* event) {
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

std::wstring CQoSearchApp::getErrorString(const Kerf::CExceptionBase& e) {
    if (const Kerf::CExceptionBase* inner = e.getInner())
        return e.getMessage() + L"\n\n" + L"Reported as: " + inner->getMessage() + L"\n\n" +
               L"Stack trace is:" + L"\n\n" + e.getStackTrace();
    return e.getMessage() + L"\n\n" + L"Stack trace is:" + L"\n\n" + e.getStackTrace();
}

void CQoSearchApp::traceException(const std::wstring& text) {
    Kerf::QuireLib::CQOUtils::traceException(text);
}

void CQoSearchApp::traceException(const std::wstring& caption, const Kerf::CExceptionBase& e) {
    Kerf::Trace::tracef("%s\n", Kerf::Util::toNarrow(caption).c_str());
    traceException(getErrorString(e));
}

QString CQoSearchApp::windowTitle() {
    return QString::fromStdWString(Kerf::Paths::vendorName() + L" " + Kerf::Paths::productName() +
                                   L" - Search");
}

void reportException(const Kerf::CExceptionBase& e) {
    const QString caption = QString::fromWCharArray(CQoSearchApp::kErrorCaption);
    PlainText::execMessageBox(QMessageBox::Critical, caption,
                              QString::fromStdWString(CQoSearchApp::getErrorString(e)), nullptr);
    CQoSearchApp::traceException(CQoSearchApp::kErrorCaption, e);
}

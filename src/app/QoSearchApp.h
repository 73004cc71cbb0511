#pragma once
// The application object of the search window. It is the last line of
// defence: a failure of the program's own kind that escapes an event handler
// is shown to the user, traced, and ends the program in good order.

#include "support/Exception.h"

#include <QApplication>
#include <QString>

#include <string>

class CQoSearchApp : public QApplication {
    Q_OBJECT
public:
    CQoSearchApp(int& argc, char** argv);

    bool notify(QObject* receiver, QEvent* event) override;

    /// The failure's text, its inner failure's text and the stack trace, as
    /// the message box shows them.
    static std::wstring getErrorString(const Kerf::CExceptionBase& e);
    static void traceException(const std::wstring& text);
    static void traceException(const std::wstring& caption, const Kerf::CExceptionBase& e);

    /// "<vendor> <product> - Search".
    static QString windowTitle();

    static constexpr const wchar_t* kErrorCaption = L"A problem has occurred in QoSearch";
};

/// Shows the failure in a message box captioned kErrorCaption with the text
/// of CQoSearchApp::getErrorString, then traces it.
void reportException(const Kerf::CExceptionBase& e);

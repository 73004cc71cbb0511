#pragma once
// The application object of the search window. It is the last line of
// defence: a failure of the program's own kind that escapes an event handler
// is shown to the user, traced, and ends the program in good order.

#include "support/Exception.h"

#include <QApplication>

class CQoSearchApplication : public QApplication {
    Q_OBJECT
public:
    CQoSearchApplication(int& argc, char** argv);

    bool notify(QObject* receiver, QEvent* event) override;
};

/// Shows the failure in a message box captioned "A problem has occurred in
/// QoSearch" with the text of CQoSearchApp::getErrorString, then traces it.
void reportException(const Kerf::CExceptionBase& e);

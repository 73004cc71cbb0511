#pragma once
// A guided run of the window for its documentation pictures: started when
// the environment variable QOSEARCH_SCREENSHOTS names a folder, it steps
// through the main states (start, location list, criteria, results, preview,
// context menu, message viewer), saves a PNG of each into the folder, and
// closes the window.

#include <QString>

class CQoSearchDlg;

void startScreenshotTour(CQoSearchDlg& dlg, const QString& folder);

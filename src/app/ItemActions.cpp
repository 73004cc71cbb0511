#include "app/ItemActions.h"

#include "app/DesktopAssociation.h"
#include "app/MessageViewer.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <QDesktopServices>
#include <QUrl>

#include <set>

namespace ItemActions {

int openMessages(const std::vector<std::wstring>& paths, QWidget* parent,
                 const CDesktopAssociation& association,
                 const std::vector<Kerf::QuireLib::SearchWord>& words) {
    const bool desktop = association.answer().value_or(false);
    int shownHere = 0;
    for (const std::wstring& path : paths) {
        const QUrl url = QUrl::fromLocalFile(QString::fromStdWString(path));
        if (desktop && QDesktopServices::openUrl(url))
            continue;
        auto* viewer = new CMessageViewer(path, parent);
        viewer->markSearchWords(words);
        viewer->show();
        ++shownHere;
    }
    return shownHere;
}

int openMessages(const std::vector<std::wstring>& paths, QWidget* parent,
                 const std::vector<Kerf::QuireLib::SearchWord>& words) {
    return openMessages(paths, parent, CDesktopAssociation::forMessages(), words);
}

std::vector<std::wstring> exploreFolders(const std::vector<std::wstring>& folders) {
    std::set<std::wstring> opened; // folders compare as the file system compares them
    std::vector<std::wstring> failed;
    for (const std::wstring& folder : folders) {
        if (!opened.insert(folder).second)
            continue;
        if (QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdWString(folder))))
            continue;
        Kerf::Trace::tracef("No application opened the folder %s\n",
                            Kerf::Util::toNarrow(folder).c_str());
        failed.push_back(folder);
    }
    return failed;
}

} // namespace ItemActions

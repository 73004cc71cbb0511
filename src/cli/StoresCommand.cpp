// qosearch-cli stores [--json] [--kind 0|1|2] [--filter T]: the filing-store
// list as the location pane shows it, in its display order, and on standard
// error where each part of it came from.

#include "cli/Commands.h"
#include "cli/StoreSources.h"
#include "cli/TerminalText.h"

#include "stores/MsgStoresListModel.h"
#include "support/Strings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <iostream>

namespace QoCli {
namespace {

using Kerf::QuireLib::CMsgStoresListModel;

constexpr const char* kKeys[CMsgStoresListModel::eColumnCount] = {
    "store_id", "source", "primary_ref", "secondary_ref", "description", "path_location"};

// A tab or line break inside a field would break the row apart.
std::string tsvField(std::wstring text) {
    for (wchar_t& c : text)
        if (c == L'\t' || c == L'\n' || c == L'\r')
            c = L' ';
    return terminalText(text);
}

} // namespace

int runStores(const Args& args) {
    bool bJson = false;
    int kind = Kerf::QuireLib::eFileSystemFolder;
    std::wstring filter;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--json") {
            bJson = true;
        } else if (arg == "--kind" || arg == "--filter") {
            if (i + 1 == args.size())
                return usage(arg + " needs a value");
            const std::string& value = args[++i];
            if (arg == "--filter") {
                filter = Kerf::Util::toWide(value);
            } else if (value == "0" || value == "1" || value == "2") {
                kind = value[0] - '0';
            } else {
                return usage("--kind takes 0, 1 or 2, not \"" + value + "\"");
            }
        } else {
            return usage("stores: unknown argument \"" + arg + "\"");
        }
    }

    const auto sources = CMsgStoresListModel::ReadSources(true);
    printStoreSources(std::cerr, sources);
    CMsgStoresListModel list(false);
    bool bProblem = !sources.AnythingRead();
    if (bProblem)
        std::cerr << "qosearch-cli: no store database and no central list could be read\n";
    list.SetErrorReporter([&](const std::wstring& text) {
        // The database's failure is on its line above already.
        const bool bSaid = sources.eDatabase == CMsgStoresListModel::DatabaseState::Unreadable &&
                           text == sources.errors.front();
        if (!bSaid)
            std::cerr << "qosearch-cli: " << terminalText(text) << "\n";
        bProblem = true;
    });
    list.ShowSourceRows(sources, kind);
    if (!filter.empty())
        list.Filter(filter);

    if (bJson) {
        QJsonArray rows;
        for (size_t r = 0; r < list.GetRowCount(); ++r) {
            QJsonObject object;
            for (int c = 0; c < CMsgStoresListModel::eColumnCount; ++c)
                object.insert(QString::fromLatin1(kKeys[c]),
                              QString::fromStdWString(list.GetRow(r)[c]));
            rows.append(object);
        }
        std::cout << QJsonDocument(rows).toJson(QJsonDocument::Indented).toStdString();
    } else {
        for (size_t r = 0; r < list.GetRowCount(); ++r) {
            const auto& row = list.GetRow(r);
            for (int c = 0; c < CMsgStoresListModel::eColumnCount; ++c)
                std::cout << (c == 0 ? "" : "\t") << tsvField(row[c]);
            std::cout << "\n";
        }
    }
    return bProblem ? 1 : 0;
}

} // namespace QoCli

#include "central/CentralSettings.h"
#include "cli/Commands.h"
#include "cli/RecordJson.h"
#include "cli/SearchOptions.h"
#include "cli/TerminalText.h"
#include "cycle/MailSearchCycle.h"
#include "search/QueuedEventSink.h"
#include "support/Strings.h"

#include <chrono>
#include <iostream>

using Kerf::QuireLib::CEmailMetadata;

namespace QoCli {
namespace {

/// The results list of the command line: keeps the rows in the order they
/// arrive and prints progress when asked to.
class CommandLineView : public Kerf::QuireLib::ISearchView {
public:
    explicit CommandLineView(bool progress) : m_bProgress(progress) {}

    void setStatusText(const std::wstring& text) override { m_sStatus = text; }
    void showIndexerProgress(const std::wstring& text) override {
        m_sStatus = text;
        if (m_bProgress)
            std::cerr << terminalText(text) << "\n";
    }
    void showNotice(const std::wstring& text) override {
        m_sStatus = text;
        std::cerr << "qosearch-cli: " << terminalText(text) << "\n";
    }
    void deleteAllRows() override { m_rows.clear(); }
    void startOptimisedAdd(std::size_t expectedRows) override {
        m_rows.reserve(m_rows.size() + expectedRows);
    }
    void insertItem(const CEmailMetadata& record) override { m_rows.push_back(record); }
    void finishOptimisedAdd() override {}
    std::size_t getItemCount() const override { return m_rows.size(); }

    const std::vector<CEmailMetadata>& rows() const { return m_rows; }
    const std::wstring& status() const { return m_sStatus; }

private:
    bool m_bProgress;
    std::vector<CEmailMetadata> m_rows;
    std::wstring m_sStatus;
};

std::string cell(std::wstring text) {
    for (wchar_t& c : text)
        if (c == L'\t' || c == L'\n' || c == L'\r')
            c = L' ';
    return terminalText(text);
}

void splitLocation(const std::wstring& location, std::wstring& folder, std::wstring& name) {
    const auto slash = location.rfind(L'/');
    folder = slash == std::wstring::npos ? std::wstring() : location.substr(0, slash + 1);
    name = slash == std::wstring::npos ? location : location.substr(slash + 1);
}

void printRows(const std::vector<CEmailMetadata>& rows, bool json) {
    if (json)
        std::cout << "[";
    bool first = true;
    for (const auto& row : rows) {
        std::wstring folder, name;
        splitLocation(row.GetStringValue(L"Location"), folder, name);
        if (json) {
            std::cout << (first ? "\n" : ",\n");
            writeRecordJson(std::cout, row, {{"Folder", folder}, {"Filename", name}});
        } else {
            const Kerf::DateTime sent = Kerf::Dates::fromOleDate(row.GetSentDate().m_dt);
            // A message never sent has no date: an empty cell, as in the window.
            char date[16] = {};
            if (!Kerf::Dates::isNoDate(sent))
                std::snprintf(date, sizeof date, "%04d-%02d-%02d", sent.year, sent.month, sent.day);
            std::cout << cell(row.GetStringValue(L"From")) << '\t'
                      << cell(row.GetStringValue(L"To")) << '\t'
                      << cell(row.GetStringValue(L"Subject")) << '\t' << date << '\t'
                      << row.GetEmbeddedAttachments() + row.GetNonEmbeddedAttachments() << '\t'
                      << row.GetSize() << '\t' << cell(folder) << '\t' << cell(name) << '\n';
        }
        first = false;
    }
    if (json)
        std::cout << (rows.empty() ? "]\n" : "\n]\n");
}

} // namespace

int runFind(const Args& args) {
    std::string problem;
    auto options = parseSearchOptions(args, true, problem);
    if (!options)
        return usage(problem);
    if (!checkFolders(options->folders, problem)) {
        std::cerr << "qosearch-cli: " << problem << "\n";
        return 1;
    }

    CommandLineView view(options->progress);
    auto sink = std::make_shared<Kerf::Search::CQueuedEventSink>();
    Kerf::QuireLib::CMailSearchCycle cycle(view, sink, options->place);
    cycle.setRowsCarryBody(options->json);
    cycle.setMessageReader(messageReader());
    if (options->central != SearchOptions::Central::never) {
        Kerf::Central::CentralIndexSettings central = Kerf::Central::readCentralIndexSettings();
        if (options->central == SearchOptions::Central::always) {
            if (central.conninfo.empty()) {
                std::cerr << "qosearch-cli: --central needs the central index's connection in "
                             "the settings (Central Index/Connection)\n";
                return 1;
            }
            central.roots = options->folders;
        }
        cycle.setCentralIndex(std::move(central));
    }
    cycle.initialise();
    if (cycle.getLastError().empty()) {
        const bool started = options->noUpdate
                                 ? cycle.searchIndexOnly(options->criteria, options->folders)
                                 : cycle.findNow(options->criteria, options->folders);
        while (started && cycle.isBusy())
            if (auto message = sink->take(std::chrono::milliseconds(200)))
                cycle.handle(*message);
    }
    const bool failed = !cycle.getLastError().empty();
    // Rows found before indexing stopped are still the answer, if a partial one.
    if (!failed || !view.rows().empty())
        printRows(view.rows(), options->json);
    if (failed) {
        std::cerr << "qosearch-cli: " << terminalText(cycle.getLastError()) << "\n";
        return 1;
    }
    std::cerr << terminalText(cycle.getStatusText()) << "\n";
    return 0;
}

} // namespace QoCli

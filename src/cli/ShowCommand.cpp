// qosearch-cli show [--json] FILE...: reads each message file the way the
// indexer does and prints its record, as "Key: value" blocks or as a JSON
// array. A file that is missing or holds no readable message is still
// printed (its location and size) and named on standard error.

#include "cli/Commands.h"
#include "cli/RecordJson.h"
#include "cli/TerminalText.h"

#include "mail/EmailMetadataFile.h"
#include "support/Strings.h"

#include <filesystem>
#include <iostream>
#include <string>

namespace QoCli {
namespace {

using Kerf::QuireLib::CEmailMetadata_File;

const char* const kTextKeys[] = {"Location", "Subject", "Normalised_Subject", "From", "To",
                                 "Cc",       "Bcc"};

void writeText(std::ostream& out, const CEmailMetadata_File& record) {
    for (const char* key : kTextKeys) {
        const std::wstring wide = Kerf::Util::toWide(key);
        if (record.HasValue(wide))
            out << key << ": " << terminalText(record.GetStringValue(wide)) << "\n";
    }
    out << "Size: " << record.GetSize() << "\n";
    if (hasSentDate(record))
        out << "SentDate: " << isoLocalTime(record.GetSentDate()) << "\n";
    out << "EmbeddedAttachments: " << record.GetEmbeddedAttachments() << "\n";
    out << "NonEmbeddedAttachments: " << record.GetNonEmbeddedAttachments() << "\n";
    if (record.HasValue(L"Body")) {
        // The body's lines, indented so that they cannot be taken for keys.
        out << "Body:\n";
        std::wstring line;
        for (wchar_t c : record.GetStringValue(L"Body")) {
            if (c == L'\r')
                continue;
            if (c == L'\n') {
                out << "  " << terminalText(line) << "\n";
                line.clear();
            } else {
                line.push_back(c);
            }
        }
        if (!line.empty())
            out << "  " << terminalText(line) << "\n";
    }
}

// Names the problem on standard error; true when the file gave a message.
bool reportProblems(const std::string& path, const CEmailMetadata_File& record) {
    // A name given by a shell pattern is a stranger's too.
    const std::string file = terminalText(Kerf::Util::toWide(path));
    std::error_code ec;
    if (!std::filesystem::exists(Kerf::Util::toPath(Kerf::Util::toWide(path)), ec)) {
        std::cerr << "qosearch-cli: \"" << file << "\": no such file\n";
        return false;
    }
    if (!record.MessageRead()) {
        std::cerr << "qosearch-cli: \"" << file
                  << "\": no message could be read (not a message file, unreadable or damaged)\n";
        return false;
    }
    return true;
}

} // namespace

int runShow(const Args& args) {
    bool json = false;
    bool optionsEnded = false;
    std::vector<std::string> files;
    for (const std::string& arg : args) {
        if (!optionsEnded && arg == "--json")
            json = true;
        else if (!optionsEnded && arg == "--")
            optionsEnded = true;
        else if (!optionsEnded && arg.size() > 1 && arg[0] == '-')
            return usage("show: unknown option \"" + arg + "\"");
        else
            files.push_back(arg);
    }
    if (files.empty())
        return usage("show: no message file given");

    bool allRead = true;
    if (json)
        std::cout << "[";
    for (std::size_t i = 0; i < files.size(); ++i) {
        const CEmailMetadata_File record(Kerf::Util::toWide(files[i]), true);
        allRead = reportProblems(files[i], record) && allRead;
        if (json) {
            std::cout << (i == 0 ? "\n  " : ",\n  ");
            writeRecordJson(std::cout, record);
        } else {
            if (i > 0)
                std::cout << "\n";
            writeText(std::cout, record);
        }
    }
    if (json)
        std::cout << "\n]\n";
    std::cout.flush();
    return allRead ? 0 : 1;
}

} // namespace QoCli

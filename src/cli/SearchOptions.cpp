#include "cli/SearchOptions.h"

#include "cycle/UserPlaces.h"
#include "stores/UserSettings.h"
#include "support/Strings.h"

#include <cstdio>
#include <filesystem>
#include <map>

namespace fs = std::filesystem;
using Kerf::Util::fromPath;
using Kerf::Util::toPath;
using Kerf::Util::toWide;

namespace QoCli {
namespace {

std::wstring withoutTrailingSeparator(std::wstring path) {
    while (path.size() > 1 && path.back() == L'/')
        path.pop_back();
    return path;
}

bool parseDate(const std::string& text, Kerf::DateTime& date) {
    int y = 0, m = 0, d = 0;
    char tail = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c", &y, &m, &d, &tail) != 3)
        return false;
    date = Kerf::DateTime{y, m, d, 0, 0, 0};
    return Kerf::Dates::isValid(date);
}

} // namespace

std::optional<SearchOptions> parseSearchOptions(const Args& args, bool forFind,
                                                std::string& problem) {
    SearchOptions options;
    std::wstring indexDirectory = Kerf::QuireLib::UserPlaces::buildIndexDirectory();
    // The per-user index root belongs to the program and is tidied; a folder
    // named with --index-dir is the index itself, and what lies beside it is
    // the user's.
    std::wstring indexRoot = Kerf::QuireLib::UserPlaces::buildIndexRootDirectory();
    auto& c = options.criteria;
    const std::map<std::string, std::wstring*> texts = {{"--subject", &c.m_sSubject},
                                                        {"--body", &c.m_sBody},
                                                        {"--from", &c.m_sFrom},
                                                        {"--to", &c.m_sTo},
                                                        {"--cc", &c.m_sCc},
                                                        {"--bcc", &c.m_sBcc},
                                                        {"--filename", &c.m_sFileName},
                                                        {"--attachment", &c.m_sAttachment},
                                                        {"--keywords", &c.m_sKeywords},
                                                        {"--query", &c.m_sQuery}};

    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        auto value = [&]() -> const std::string* {
            if (i + 1 >= args.size()) {
                problem = arg + " needs a value";
                return nullptr;
            }
            return &args[++i];
        };
        // An empty path names no folder at all.
        auto path = [&]() -> const std::string* {
            const std::string* v = value();
            if (v != nullptr && v->empty()) {
                problem = arg + " needs a folder, not an empty text";
                return nullptr;
            }
            return v;
        };
        if (arg == "--index-dir") {
            const std::string* v = path();
            if (!v)
                return std::nullopt;
            indexDirectory = withoutTrailingSeparator(fromPath(fs::absolute(toPath(toWide(*v)))));
            indexRoot.clear();
        } else if (arg == "--progress") {
            options.progress = true;
        } else if (forFind && arg == "--json") {
            options.json = true;
        } else if (forFind && arg == "--no-update") {
            options.noUpdate = true;
        } else if (forFind && (arg == "--central" || arg == "--local-only")) {
            options.central =
                arg == "--central" ? SearchOptions::Central::always : SearchOptions::Central::never;
        } else if (forFind && arg == "--folder") {
            const std::string* v = path();
            if (!v)
                return std::nullopt;
            options.folders.push_back(toWide(*v));
        } else if (forFind && (arg == "--after" || arg == "--before")) {
            const std::string* v = value();
            if (!v)
                return std::nullopt;
            Kerf::DateTime date;
            if (!parseDate(*v, date)) {
                problem = arg + " takes a date as YYYY-MM-DD, not \"" + *v + "\"";
                return std::nullopt;
            }
            if (arg == "--after") {
                c.m_bSentAfter = true;
                c.m_dtSentAfter = date;
            } else {
                c.m_bSentBefore = true;
                c.m_dtSentBefore = date;
            }
        } else if (forFind && texts.count(arg) != 0) {
            const std::string* v = value();
            if (!v)
                return std::nullopt;
            *texts.at(arg) = toWide(*v);
        } else if (arg.rfind("--", 0) == 0) {
            problem = "unknown option " + arg;
            return std::nullopt;
        } else if (!forFind) {
            if (arg.empty()) {
                problem = "index needs folders, not an empty text";
                return std::nullopt;
            }
            options.folders.push_back(toWide(arg));
        } else {
            problem = "unexpected argument \"" + arg + "\" (folders are given with --folder)";
            return std::nullopt;
        }
    }
    if (forFind && options.folders.empty()) {
        problem = "find needs at least one --folder";
        return std::nullopt;
    }
    options.place.directory = indexDirectory;
    options.place.root = indexRoot;
    return options;
}

bool checkFolders(std::vector<std::wstring>& folders, std::string& problem) {
    for (auto& folder : folders) {
        std::error_code ec;
        const fs::path path = fs::absolute(toPath(folder), ec);
        const fs::file_status status = ec ? fs::file_status() : fs::status(path, ec);
        if (!fs::is_directory(status)) {
            const std::string quoted = "\"" + Kerf::Util::toNarrow(folder) + "\"";
            if (fs::exists(status))
                problem = quoted + " is not a folder";
            else if (ec && ec != std::errc::no_such_file_or_directory)
                problem = "the folder " + quoted + " cannot be reached: " + ec.message();
            else
                problem = "the folder " + quoted + " does not exist";
            return false;
        }
        folder = withoutTrailingSeparator(fromPath(path.lexically_normal()));
    }
    return true;
}

Kerf::QuireLib::CRecursiveMailIndexer::MessageReader messageReader() {
    Kerf::QuireLib::DocumentText::Limits limits;
    limits.messageBudget = Kerf::QuireLib::attachmentTextBudget();
    return Kerf::QuireLib::CRecursiveMailIndexer::messageFileReader(limits);
}

} // namespace QoCli

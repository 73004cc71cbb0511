#pragma once
// Command-line options shared by "index" and "find".

#include "cli/Commands.h"
#include "mail/RecursiveMailIndexer.h"
#include "mail/SearchCriteria.h"

#include <optional>
#include <string>
#include <vector>

namespace QoCli {

struct SearchOptions {
    Kerf::QuireLib::CRecursiveMailIndexer::IndexPlace place;
    std::vector<std::wstring> folders;
    Kerf::QuireLib::SearchCriteria criteria;
    bool json = false;
    bool progress = false;
    bool noUpdate = false;
    /// Whether the central index answers: for the folders under the roots
    /// the settings give it (the default), for every folder, or for none.
    enum class Central { bySettings, always, never } central = Central::bySettings;
};

/// Parses the options of "find" (allowFind) or "index". On a usage error
/// returns nothing and sets the problem text.
std::optional<SearchOptions> parseSearchOptions(const Args& args, bool forFind,
                                                std::string& problem);

/// The message reader of the user's settings (the time a message's
/// attachments may take).
Kerf::QuireLib::CRecursiveMailIndexer::MessageReader messageReader();

/// The folders as absolute paths without a trailing separator; false (with
/// the problem text) when one does not exist or is not a folder.
bool checkFolders(std::vector<std::wstring>& folders, std::string& problem);

} // namespace QoCli

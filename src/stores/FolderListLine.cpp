// The pattern that splits a line of "Folders.txt" or "OutlookFolders.txt".
#include "stores/StoreDatabase.h"

#include "support/Assert.h"

// GCC 12 reports std::regex's own internals as maybe uninitialised when the
// sanitizers are on (a known false positive inside libstdc++); the pattern is
// kept in this file so that silencing it covers nothing else.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <regex>

namespace Kerf::QuireLib {

bool CStoreDatabase::ParseFolderListLine(const std::wstring& sLine, std::wstring& sParent,
                                         std::wstring& sFolder) {
    // The last two components of a path written with either separator.
    static const std::wregex re(LR"(^.*[\\/](.*)[\\/](.*)$)");
    std::wsmatch reResult;
    if (!std::regex_match(sLine, reResult, re))
        return false;
    KERF_ASSERT(reResult.size() == 3);
    sParent = reResult[1].str();
    sFolder = reResult[2].str();
    return true;
}

} // namespace Kerf::QuireLib

#include "stores/PathMapping.h"

#include "stores/SettingsLayers.h"
#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace Kerf::QuireLib {
namespace {

bool startsWithNoCase(std::wstring_view text, std::wstring_view prefix) {
    return text.size() >= prefix.size() &&
           Util::compareNoCase(text.substr(0, prefix.size()), prefix) == 0;
}

// Both separators count in a path written the Windows way.
bool isSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

std::vector<std::wstring> components(std::wstring_view path) {
    std::vector<std::wstring> parts;
    std::wstring part;
    for (const wchar_t c : path) {
        if (isSeparator(c)) {
            if (!part.empty())
                parts.push_back(std::move(part));
            part.clear();
        } else {
            part += c;
        }
    }
    if (!part.empty())
        parts.push_back(std::move(part));
    return parts;
}

// The rest of a path joined below a folder with "/".
std::wstring joinBelow(std::wstring folder, const std::vector<std::wstring>& rest, size_t from) {
    while (folder.size() > 1 && folder.back() == L'/')
        folder.pop_back();
    for (size_t i = from; i < rest.size(); ++i)
        folder += (folder == L"/" ? L"" : L"/") + rest[i];
    return folder;
}

// mountinfo writes blanks, tabs, new lines and backslashes as "\ooo".
std::string unescapeMountField(const std::string& field) {
    const auto octal = [&](size_t at) { return field[at] >= '0' && field[at] <= '7'; };
    std::string text;
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && octal(i + 1) && octal(i + 2) &&
            octal(i + 3)) {
            text += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 +
                                      (field[i + 3] - '0'));
            i += 3;
        } else {
            text += field[i];
        }
    }
    return text;
}

} // namespace

std::vector<CifsMount> ParseCifsMounts(const std::string& sMountInfo) {
    std::vector<CifsMount> mounts;
    std::istringstream in(sMountInfo);
    for (std::string line; std::getline(in, line);) {
        // id parent major:minor root mount-point options [optional...] - type source super
        std::istringstream fields(line);
        std::vector<std::string> f;
        for (std::string field; fields >> field;)
            f.push_back(field);
        const auto dash = std::find(f.begin(), f.end(), "-");
        if (f.size() < 5 || dash == f.end() || f.end() - dash < 3)
            continue;
        const std::string& type = *(dash + 1);
        if (type != "cifs" && type != "smb3")
            continue;
        const std::wstring source = Util::toWide(unescapeMountField(*(dash + 2)));
        if (!source.starts_with(L"//") && !source.starts_with(L"\\\\"))
            continue;
        auto parts = components(source);
        const auto root = components(Util::toWide(unescapeMountField(f[3])));
        parts.insert(parts.end(), root.begin(), root.end());
        if (parts.size() < 2)
            continue;
        CifsMount mount{parts[0], parts[1], {}, Util::toWide(unescapeMountField(f[4]))};
        for (size_t i = 2; i < parts.size(); ++i)
            mount.sShareFolder += (i > 2 ? L"/" : L"") + parts[i];
        mounts.push_back(std::move(mount));
    }
    return mounts;
}

CPathMapper::CPathMapper(std::vector<CifsMount> mounts, Prefixes prefixes)
    : m_vMounts(std::move(mounts)), m_vPrefixes(std::move(prefixes)) {
    // The longest prefix wins: "J:\Jobs\" before "J:\".
    std::stable_sort(m_vPrefixes.begin(), m_vPrefixes.end(),
                     [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
}

CPathMapper CPathMapper::ForThisUser() {
    std::ifstream in("/proc/self/mountinfo");
    std::stringstream text;
    text << in.rdbuf();
    // The firm's mappings, then the user's: a prefix the user maps again
    // takes the user's folder.
    const CSettingsLayers layers = CSettingsLayers::ForThisUser();
    Prefixes prefixes;
    for (const auto& [from, to] : layers.SectionValues(kSectionName)) {
        const auto same = std::find_if(prefixes.begin(), prefixes.end(), [&](const auto& p) {
            return Util::compareNoCase(p.first, from) == 0;
        });
        if (same != prefixes.end())
            same->second = to;
        else
            prefixes.emplace_back(from, to);
    }
    return CPathMapper(ParseCifsMounts(text.str()), std::move(prefixes));
}

LocatedPath CPathMapper::Map(const std::wstring& sStorePath) const {
    std::wstring path = sStorePath;
    if (path.starts_with(L"/"))
        return {path, {}};
    for (const auto& [from, to] : m_vPrefixes)
        if (!from.empty() && startsWithNoCase(path, from))
            return {joinBelow(to, components(std::wstring_view(path).substr(from.size())), 0), {}};
    // "File:\\server\share" names the same folder as "\\server\share".
    if (startsWithNoCase(path, L"File:\\\\"))
        path.erase(0, 5);
    if (path.starts_with(L"\\\\")) {
        const auto parts = components(path);
        if (parts.size() < 2)
            return {{}, L"Not a complete network path (\\\\server\\share)"};
        const CifsMount* best = nullptr;
        size_t bestDepth = 0;
        for (const auto& mount : m_vMounts) {
            if (Util::compareNoCase(mount.sServer, parts[0]) != 0 ||
                Util::compareNoCase(mount.sShare, parts[1]) != 0)
                continue;
            const auto folder = components(mount.sShareFolder);
            if (folder.size() + 2 > parts.size() && !folder.empty())
                continue;
            bool inside = true;
            for (size_t i = 0; i < folder.size() && inside; ++i)
                inside = Util::compareNoCase(folder[i], parts[i + 2]) == 0;
            if (inside && (best == nullptr || folder.size() + 1 > bestDepth)) {
                best = &mount;
                bestDepth = folder.size() + 1;
            }
        }
        if (best == nullptr)
            return {{}, L"The share \\\\" + parts[0] + L"\\" + parts[1] + L" is not mounted here"};
        return {joinBelow(best->sMountPoint, parts, bestDepth + 1), {}};
    }
    if (path.size() >= 2 && path[1] == L':')
        return {{},
                L"The drive " + path.substr(0, 2) +
                    L" has no folder here: add it to [PathMap] in the settings file"};
    return {{}, L"Not a folder path"};
}

LocatedPath CPathMapper::Locate(const std::wstring& sStorePath) const {
    LocatedPath located = Map(sStorePath);
    if (!located.IsReachable())
        return located;
    std::error_code ec;
    if (!std::filesystem::is_directory(Util::toPath(located.sPath), ec))
        located.sReason = L"Folder not found: " + located.sPath;
    return located;
}

} // namespace Kerf::QuireLib

#pragma once
// A sectioned settings file held in memory:
//
//   ; a comment
//   [Section]
//   Key=Value (the value may itself hold "=")
//
// Sections and keys keep the order of the file and are looked up without
// regard to letter case. Keys, values and section names are trimmed of blanks.

#include "support/Exception.h"

#include <string>
#include <utility>
#include <vector>

namespace Kerf {

class CSettingsFile {
public:
    using KeyValues = std::vector<std::pair<std::wstring, std::wstring>>;
    struct Section {
        std::wstring sName;
        KeyValues keyValues;
    };

    /// Parses a file into this object; pairs already held are overridden by the
    /// file's. Throws CSettingsFileException: "Error opening file" for a file
    /// that cannot be read, "Tokenising error" for a line that is neither comment,
    /// section nor pair, "Invalid section" for "[]", "Invalid key" for "=value".
    void readAFile(const std::wstring& sFileName);
    /// Parses text as readAFile would; sFileName only names it in errors.
    void parseText(const std::wstring& sText, const std::wstring& sFileName = {});

    /// Writes every section as UTF-8 text; "Error writing file" on failure.
    void writeAFile(const std::wstring& sFileName) const;

    bool Lookup(const std::wstring& sSection, const std::wstring& sKey, std::wstring& sValue) const;
    /// The key's value in the first section (in file order) that holds it.
    bool LookupAnySection(const std::wstring& sKey, std::wstring& sValue) const;

    /// Sets a value, adding the section and the key when missing. A key, section
    /// or value that a file could not give back unchanged (empty or untrimmed key,
    /// "=" or a line break in it, ...) is "Invalid key", "Invalid section" or
    /// "Tokenising error".
    void setValue(const std::wstring& sSection, const std::wstring& sKey,
                  const std::wstring& sValue);
    /// Removes a key; "Remove is disallowed" unless removals were allowed.
    /// Returns whether the key was there.
    bool remove(const std::wstring& sSection, const std::wstring& sKey);
    void setRemoveAllowed(bool bAllowed) { m_bRemoveAllowed = bAllowed; }

    const std::vector<Section>& sections() const { return m_vSections; }

private:
    void parseLines(const std::vector<std::wstring>& vLines, const std::wstring& sFileName);
    Section& sectionNamed(const std::wstring& sName);
    const Section* findSection(const std::wstring& sName) const;

    std::vector<Section> m_vSections;
    bool m_bRemoveAllowed = false;
};

} // namespace Kerf

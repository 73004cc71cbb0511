#include "stores/SettingsFile.h"

#include "stores/UnicodeText.h"
#include "support/Assert.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <algorithm>
#include <fstream>

namespace Kerf {
namespace {

using Util::toNarrow;

bool sameName(const std::wstring& a, const std::wstring& b) {
    return Util::compareNoCase(a, b) == 0;
}

std::wstring stripBrackets(const std::wstring& line) {
    const size_t first = line.find_first_not_of(L'[');
    const size_t last = line.find_last_not_of(L']');
    if (first == std::wstring::npos || last == std::wstring::npos || last < first)
        return {};
    return line.substr(first, last - first + 1);
}

} // namespace

void CSettingsFile::readAFile(const std::wstring& sFileName) {
    Trace::tracef("CDefaultSettings::readAFile(\"%s\")\n", toNarrow(sFileName).c_str());
    KERF_ASSERT(!sFileName.empty());
    const auto lines = QuireLib::UnicodeText::readLines(sFileName);
    if (sFileName.empty() || !lines)
        throw CSettingsFileException(CSettingsFileException::eErrorOpeningFile, sFileName);
    parseLines(*lines, sFileName);
}

void CSettingsFile::parseText(const std::wstring& sText, const std::wstring& sFileName) {
    parseLines(QuireLib::UnicodeText::splitLines(sText), sFileName);
}

void CSettingsFile::parseLines(const std::vector<std::wstring>& vLines,
                               const std::wstring& sFileName) {
    const bool bTrace = Trace::isOn();
    std::wstring sSection;
    int iLine = 0;
    for (const auto& rawLine : vLines) {
        ++iLine;
        const std::wstring line = Util::trim(rawLine);
        if (line.empty() || line.front() == L';')
            continue;
        if (line.front() == L'[') {
            // Without its closing bracket the line is ignored and the section stays.
            if (line.back() != L']')
                continue;
            std::wstring sName = Util::trim(stripBrackets(line));
            if (sName.empty())
                throw CSettingsFileException(CSettingsFileException::eInvalidSection, sFileName,
                                             iLine, line);
            sSection = std::move(sName);
            continue;
        }
        const size_t equals = line.find(L'=');
        if (equals == std::wstring::npos)
            throw CSettingsFileException(CSettingsFileException::eTokenisingError, sFileName, iLine,
                                         L"no \"=\" in \"" + line + L"\"");
        const std::wstring sKey = Util::trim(std::wstring_view(line).substr(0, equals));
        const std::wstring sValue = Util::trim(std::wstring_view(line).substr(equals + 1));
        if (sKey.empty())
            throw CSettingsFileException(CSettingsFileException::eInvalidKey, sFileName, iLine,
                                         line);
        if (bTrace) {
            Trace::tracef("\tsSection = \"%s\"\n", toNarrow(sSection).c_str());
            Trace::tracef("\tsKey = \"%s\"\n", toNarrow(sKey).c_str());
            Trace::tracef("\tsValue =  \"%s\"\n", toNarrow(sValue).c_str());
        }
        setValue(sSection, sKey, sValue);
    }
}

void CSettingsFile::writeAFile(const std::wstring& sFileName) const {
    std::ofstream out(Util::toPath(sFileName), std::ios::binary | std::ios::trunc);
    const auto writePairs = [&out](const Section& section) {
        for (const auto& [sKey, sValue] : section.keyValues)
            out << toNarrow(sKey) << '=' << toNarrow(sValue) << '\n';
    };
    // Pairs outside any section must come before the first section header.
    if (const Section* unnamed = findSection({}))
        writePairs(*unnamed);
    for (const auto& section : m_vSections) {
        if (section.sName.empty())
            continue;
        out << '[' << toNarrow(section.sName) << "]\n";
        writePairs(section);
    }
    out.flush();
    if (!out)
        throw CSettingsFileException(CSettingsFileException::eErrorWritingFile, sFileName);
}

bool CSettingsFile::Lookup(const std::wstring& sSection, const std::wstring& sKey,
                           std::wstring& sValue) const {
    const Section* section = findSection(sSection);
    if (section == nullptr)
        return false;
    for (const auto& [key, value] : section->keyValues) {
        if (sameName(key, sKey)) {
            sValue = value;
            return true;
        }
    }
    return false;
}

bool CSettingsFile::LookupAnySection(const std::wstring& sKey, std::wstring& sValue) const {
    for (const auto& section : m_vSections)
        if (Lookup(section.sName, sKey, sValue))
            return true;
    return false;
}

void CSettingsFile::setValue(const std::wstring& sSection, const std::wstring& sKey,
                             const std::wstring& sValue) {
    // Only what a file can hold and give back unchanged is accepted.
    const std::wstring sTrimmedKey = Util::trim(sKey);
    if (sTrimmedKey != sKey || sKey.empty() || sKey.front() == L'[' || sKey.front() == L';' ||
        sKey.find_first_of(L"=\r\n") != std::wstring::npos)
        throw CSettingsFileException(CSettingsFileException::eInvalidKey, {}, 0,
                                     L"\"" + sKey + L"\"");
    if (Util::trim(sSection) != sSection || sSection.find_first_of(L"\r\n") != std::wstring::npos ||
        (!sSection.empty() && (sSection.front() == L'[' || sSection.back() == L']')))
        throw CSettingsFileException(CSettingsFileException::eInvalidSection, {}, 0,
                                     L"\"" + sSection + L"\"");
    if (Util::trim(sValue) != sValue || sValue.find_first_of(L"\r\n") != std::wstring::npos)
        throw CSettingsFileException(CSettingsFileException::eTokenisingError, {}, 0,
                                     L"value \"" + sValue + L"\" of key \"" + sKey + L"\"");
    Section& section = sectionNamed(sSection);
    for (auto& [key, value] : section.keyValues) {
        if (sameName(key, sKey)) {
            value = sValue;
            return;
        }
    }
    section.keyValues.emplace_back(sKey, sValue);
}

bool CSettingsFile::remove(const std::wstring& sSection, const std::wstring& sKey) {
    if (!m_bRemoveAllowed)
        throw CSettingsFileException(CSettingsFileException::eRemoveDisallowed, {}, 0,
                                     L"[" + sSection + L"] " + sKey);
    for (auto& section : m_vSections) {
        if (!sameName(section.sName, sSection))
            continue;
        auto& pairs = section.keyValues;
        const auto it = std::find_if(pairs.begin(), pairs.end(),
                                     [&](const auto& pair) { return sameName(pair.first, sKey); });
        if (it == pairs.end())
            return false;
        pairs.erase(it);
        return true;
    }
    return false;
}

CSettingsFile::Section& CSettingsFile::sectionNamed(const std::wstring& sName) {
    for (auto& section : m_vSections)
        if (sameName(section.sName, sName))
            return section;
    m_vSections.push_back(Section{sName, {}});
    return m_vSections.back();
}

const CSettingsFile::Section* CSettingsFile::findSection(const std::wstring& sName) const {
    for (const auto& section : m_vSections)
        if (sameName(section.sName, sName))
            return &section;
    return nullptr;
}

} // namespace Kerf

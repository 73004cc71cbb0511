#include "stores/CentralFilingStores.h"

#include "stores/UserSettings.h"
#include "stores/XmlGuards.h"
#include "support/Assert.h"
#include "support/Exception.h"
#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <QUuid>

#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace Kerf::QuireLib {
namespace {

using Util::toNarrow;
namespace fs = std::filesystem;

struct SchemaParserDeleter {
    void operator()(xmlSchemaParserCtxt* p) const { xmlSchemaFreeParserCtxt(p); }
};
struct SchemaDeleter {
    void operator()(xmlSchema* p) const { xmlSchemaFree(p); }
};
struct ValidDeleter {
    void operator()(xmlSchemaValidCtxt* p) const { xmlSchemaFreeValidCtxt(p); }
};

// Network off, and neither entity substitution nor DTD loading: a list cannot
// pull another file's text into a location.
constexpr int kParseOptions = XML_PARSE_NONET;

} // namespace

CCentralFilingStores::CCentralFilingStores()
    : m_sCacheFolder(CQOUtils::GetQOAppDataDir() + L"Central List/"),
      m_sSchemaLocation(Paths::installationDirectory() + kSchemaFileName),
      m_sCacheKey(L"Central List") {
    xmlInitParser();
    Trace::tracef("*** CCentralFilingStores::CCentralFilingStores() ...\n");
    Trace::tracef("\tCache Folder Location = %s ...\n", toNarrow(m_sCacheFolder).c_str());
    Trace::tracef("\tSchema Location = %s ...\n", toNarrow(m_sSchemaLocation).c_str());
    Trace::tracef("\tCache Registry Key = %s ...\n", toNarrow(m_sCacheKey).c_str());
}

namespace {

// The cache file name recorded for the remote list; empty when none is.
QString cacheNameOf(QSettings& settings, const QString& remote) {
    settings.beginGroup(QString::fromLatin1(CCentralFilingStores::kCacheGroup));
    QString name;
    for (const QString& key : settings.childKeys()) {
        if (settings.value(key).toString() == remote) {
            name = key;
            break;
        }
    }
    settings.endGroup();
    return name;
}

} // namespace

std::wstring CCentralFilingStores::CachedCopyOf(const std::wstring& sRemotePath) {
    const QString name = cacheNameOf(*openUserSettings(), QString::fromStdWString(sRemotePath));
    if (name.isEmpty())
        return {};
    const std::wstring cacheFile =
        CQOUtils::GetQOAppDataDir() + L"Central List/" + name.toStdWString();
    std::error_code ec;
    return fs::is_regular_file(Util::toPath(cacheFile), ec) ? cacheFile : std::wstring();
}

bool CCentralFilingStores::AddFilingList(const std::wstring& sRemotePath, std::wstring& sError) {
    auto settings = openUserSettings();
    const QString remote = QString::fromStdWString(sRemotePath);
    QString cacheName = cacheNameOf(*settings, remote);
    settings->beginGroup(QString::fromLatin1(kCacheGroup));
    if (cacheName.isEmpty()) {
        cacheName = QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".xml");
        settings->setValue(cacheName, remote);
        settings->sync();
        if (settings->status() != QSettings::NoError) {
            sError =
                L"Cannot record the central list cache in " + userSettingsPath().toStdWString();
            return false;
        }
    }
    FilingList list;
    list.sRemoteFile = sRemotePath;
    list.sCacheFile = m_sCacheFolder + cacheName.toStdWString();
    m_vFilingLists.push_back(std::move(list));
    return true;
}

bool CCentralFilingStores::Refresh() {
    m_sRefreshError.clear();
    m_vListProblems.clear();
    if (std::atoi(xmlParserVersion) < kMinimumParserVersion) {
        m_sRefreshError = L"The XML filing list feature requires libxml2 version 2.9.0 or "
                          L"higher installed.";
        Trace::tracef("%s\n", toNarrow(m_sRefreshError).c_str());
        return false;
    }
    SynchroniseCache();
    LoadCache();
    return true;
}

void CCentralFilingStores::Close() {
    m_vFilingLists.clear();
    m_vLocations.clear();
    m_vSettings.clear();
}

void CCentralFilingStores::SynchroniseCache() {
    Paths::makePrivateFolder(Util::toPath(m_sCacheFolder).string());
    for (auto& list : m_vFilingLists) {
        list.sProblem.clear();
        // Not even copied: the cache keeps the copy it has.
        if (!CheckListSize(list.sRemoteFile, list.sRemoteFile)) {
            list.eState = ListState::FromCache;
            list.sProblem = L"it holds more than " + std::to_wstring(kMaxListBytes >> 20) + L" MB";
            continue;
        }
        try {
            CopyRemoteFile(list.sRemoteFile, list.sCacheFile);
            list.eState = ListState::Read;
        } catch (const CExceptionBase& e) {
            list.eState = ListState::FromCache;
            list.sProblem = e.getMessage();
            // The list goes on with the copy the cache already holds.
            Trace::tracef("Error synchronizing cache\nFile: %s\nLocal File: %s\n%s",
                          toNarrow(list.sRemoteFile).c_str(), toNarrow(list.sCacheFile).c_str(),
                          toNarrow(e.getMessage()).c_str());
        }
    }
}

bool CCentralFilingStores::CheckListSize(const std::wstring& sFile, const std::wstring& sRemote) {
    std::error_code ec;
    const std::uintmax_t size = fs::file_size(Util::toPath(sFile), ec);
    if (ec || size <= kMaxListBytes)
        return true; // one that cannot be reached fails where it is read
    const std::wstring problem = L"The central filing list \"" + sRemote + L"\" is not read: it " +
                                 L"holds " + std::to_wstring(size >> 20) + L" MB, more than the " +
                                 std::to_wstring(kMaxListBytes >> 20) + L" MB a list may hold.";
    Trace::tracef("%s\n", toNarrow(problem).c_str());
    if (std::find(m_vListProblems.begin(), m_vListProblems.end(), problem) == m_vListProblems.end())
        m_vListProblems.push_back(problem);
    return false;
}

std::wstring CCentralFilingStores::WhyNotAFile(const std::wstring& sPath) {
    std::error_code ec;
    const fs::file_status status = fs::status(Util::toPath(sPath), ec);
    if (fs::is_regular_file(status))
        return {};
    if (status.type() == fs::file_type::not_found)
        return L"no such file";
    return ec ? Util::toWide(ec.message()) : L"not a file";
}

void CCentralFilingStores::CopyRemoteFile(const std::wstring& sRemote, const std::wstring& sLocal) {
    std::error_code ec;
    const fs::path remote = Util::toPath(sRemote);
    if (const std::wstring why = WhyNotAFile(sRemote); !why.empty())
        throw CExceptionBase(L"Can't access file : " + sRemote + L" (" + why + L")");
    // Copy beside the cache file and rename: a copy that breaks off never
    // destroys the copy that was there.
    const fs::path local = Util::toPath(sLocal);
    fs::path partial = local;
    partial += ".partial";
    if (!fs::copy_file(remote, partial, fs::copy_options::overwrite_existing, ec)) {
        fs::remove(partial, ec);
        throw CExceptionBase(L"failed to copy file : " + sRemote);
    }
    fs::rename(partial, local, ec);
    if (ec) {
        fs::remove(partial, ec);
        throw CExceptionBase(L"failed to copy file : " + sRemote);
    }
}

void CCentralFilingStores::LoadCache() {
    // A list that cannot be read is traced and skipped; the others still load.
    for (auto& list : m_vFilingLists)
        ReadCachedList(list);
}

bool CCentralFilingStores::ReadCachedList(FilingList& list) {
    std::wstring sError;
    const size_t before = m_vLocations.size();
    std::error_code ec;
    if (list.eState == ListState::FromCache &&
        !fs::is_regular_file(Util::toPath(list.sCacheFile), ec)) {
        sError = L"it was never copied here";
    } else {
        try {
            LoadFilingList(list);
            list.nLocations = m_vLocations.size() - before;
        } catch (const CExceptionBase& e) {
            sError = e.getMessage();
        }
    }
    if (!sError.empty()) {
        list.eState = ListState::Unreadable;
        list.sProblem = list.sProblem.empty() ? sError : list.sProblem + L"; " + sError;
        Trace::tracef("Error loading cached filing list.\nFile: %s\nRemote File: %s\n%s",
                      toNarrow(list.sCacheFile).c_str(), toNarrow(list.sRemoteFile).c_str(),
                      toNarrow(sError).c_str());
    }
    return sError.empty();
}

void CCentralFilingStores::LoadFilingList(const FilingList& list) {
    if (!CheckListSize(list.sCacheFile, list.sRemoteFile))
        throw CExceptionBase(L"The list is too large.");
    const std::string cacheFile = toNarrow(list.sCacheFile);
    const std::string schemaFile = toNarrow(m_sSchemaLocation);
    Xml::ErrorCollector errors;
    Xml::LoadOnly loadOnly({cacheFile, schemaFile});

    std::unique_ptr<xmlSchemaParserCtxt, SchemaParserDeleter> schemaParser(
        xmlSchemaNewParserCtxt(schemaFile.c_str()));
    std::unique_ptr<xmlSchema, SchemaDeleter> schema(
        schemaParser ? xmlSchemaParse(schemaParser.get()) : nullptr);
    if (!schema)
        throw CExceptionBase(L"xmlSchemaParse failed.\n" + errors.describe());
    std::unique_ptr<xmlSchemaValidCtxt, ValidDeleter> validator(
        xmlSchemaNewValidCtxt(schema.get()));
    if (!validator)
        throw CExceptionBase(L"xmlSchemaNewValidCtxt failed.\n" + errors.describe());
    Xml::DocPtr doc(xmlReadFile(cacheFile.c_str(), nullptr, kParseOptions));
    if (!doc)
        throw CExceptionBase(L"xmlReadFile failed. \n" + errors.describe(list.sCacheFile));
    if (xmlSchemaValidateDoc(validator.get(), doc.get()) != 0)
        throw CExceptionBase(L"xmlSchemaValidateDoc failed. \n" + errors.describe(list.sCacheFile));

    xmlNode* pDocumentElement = xmlDocGetRootElement(doc.get());
    KERF_ASSERT(pDocumentElement != NULL);
    const auto locationsNodes = Xml::childElements(pDocumentElement, "locations");
    KERF_ASSERT(!locationsNodes.empty());
    LocationRows rows;
    for (xmlNode* pLocationsNode : locationsNodes) {
        for (xmlNode* pTempElement : Xml::childElements(pLocationsNode, "location")) {
            LocationRow row;
            row[LocationKey::kPathLocation] = Xml::attribute(pTempElement, "path");
            row[LocationKey::kPrimaryRef] = Xml::attribute(pTempElement, "primaryref");
            row[LocationKey::kSecondaryRef] = Xml::attribute(pTempElement, "secondaryref");
            row[LocationKey::kDescription] = Xml::attribute(pTempElement, "description");
            row[LocationKey::kStoreId] = kCentralStoreId;
            rows.push_back(std::move(row));
        }
    }
    SettingPairs settings;
    for (xmlNode* pSettingsNode : Xml::childElements(pDocumentElement, "settings")) {
        for (xmlNode* pSetting : Xml::childElements(pSettingsNode, "setting")) {
            const auto values = Xml::childElements(pSetting, "value");
            KERF_ASSERT(!values.empty());
            settings.emplace_back(Xml::attribute(pSetting, "name"),
                                  values.empty() ? std::wstring() : Xml::content(values.front()));
        }
    }
    m_vLocations.insert(m_vLocations.end(), rows.begin(), rows.end());
    m_vSettings.insert(m_vSettings.end(), settings.begin(), settings.end());
}

} // namespace Kerf::QuireLib

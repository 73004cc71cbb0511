#pragma once
// Which store database the settings name, and its password. The connection
// string comes from the user's <product>.conf ([Store Database] ConnectionString,
// the older place) or else from the settings files (CSettingsLayers). Its
// password need not be in it: the environment variable
// QOSEARCH_STORE_PASSWORD, or else the file named by [Store Database]
// PasswordFile, gives it. That file may be readable by a group (the users of
// QoSearch) but never by every user, so it never has to be copied into each
// home folder.

#include "stores/SettingsLayers.h"

#include <string>

namespace Kerf::QuireLib {

struct StoreConnection {
    static constexpr const char* kPasswordVariable = "QOSEARCH_STORE_PASSWORD";
    static constexpr const wchar_t* kConnectionStringKey = L"ConnectionString";
    static constexpr const wchar_t* kPasswordFileKey = L"PasswordFile";

    std::wstring sConnectionString; ///< empty: the settings name no server
    std::wstring sFrom;             ///< the file that named it
    bool bPasswordGiven = false;    ///< the environment or a password file gave one
    std::wstring sPassword;
    std::wstring sPasswordFrom;    ///< the variable's name or the password file
    std::wstring sPasswordProblem; ///< why the password file could not be used

    /// What the settings of this user name.
    static StoreConnection ForThisUser(const CSettingsLayers& layers);

    /// The connection for the eyes of an administrator: engine, database,
    /// server and user, never the password, and where each came from.
    std::wstring Describe() const;
};

/// The first line of a password file. Empty, with sProblem set, when the file
/// cannot be read, is not a plain file, is larger than a password could be,
/// or may be read by every user of the computer.
std::wstring ReadPasswordFile(const std::wstring& sPath, std::wstring& sProblem);

} // namespace Kerf::QuireLib

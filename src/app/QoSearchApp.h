#pragma once
// Start-up pieces of the search program that need no window: where the index
// lives, the name that marks a running instance, and the text shown for an
// unexpected failure.

#include "support/Exception.h"

#include <string>

class CQoSearchApp {
public:
    /// The product's per-user data folder followed by "Index/", with a trailing separator.
    static std::wstring buildIndexRootDirectory();
    /// The index root followed by the index format version "0.4" (no trailing separator).
    static std::wstring buildIndexDirectory();
    /// "QOSEARCH_" + the last 250 characters of the lower-cased index directory,
    /// every separator of the whole name replaced by "_".
    static std::wstring buildInstanceName(const std::wstring& indexDirectory);
    static std::wstring getErrorString(const Kerf::CExceptionBase& e);
    static void traceException(const std::wstring& text);
    static void traceException(const std::wstring& caption, const Kerf::CExceptionBase& e);

    static constexpr const wchar_t* kIndexFormatVersion = L"0.4";
    static constexpr const wchar_t* kWindowTitle = L"Pellam Quarto - Search";
    static constexpr const wchar_t* kErrorCaption = L"A problem has occurred in QoSearch";
};

#pragma once
// Records as the command line prints them: JSON objects (one writer for
// "show" and "find") and the tab-separated result rows of "find".

#include "mail/EmailMetadata.h"

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace QoCli {

/// The text as a JSON string literal, quotes included. Bytes of a file name
/// that are not UTF-8 come out as \udcXX escapes.
std::string jsonString(const std::wstring& text);

/// "2013-11-18T09:26:24+01:00": the local wall-clock time with its offset.
std::string isoLocalTime(const Kerf::OleDate& date);

/// False for a message that carries no readable sent date (never sent, or
/// damaged): it has no date to print, not 30 December 1899.
bool hasSentDate(const Kerf::QuireLib::CEmailMetadata& record);

/// One record as a JSON object: the text keys it has, "Size", "SentDate"
/// (when it has one),
/// the two attachment counts and the attachments' names, then any extra
/// string pairs.
void writeRecordJson(std::ostream& out, const Kerf::QuireLib::CEmailMetadata& record,
                     const std::vector<std::pair<std::string, std::wstring>>& extra = {});

} // namespace QoCli

#pragma once
// Where the filing-store list came from, in lines an administrator reads:
// each settings file, the store database and each central filing list, and
// whether each was read, read from its cached copy, or could not be read
// and why. stores prints it on standard error; doctor prints it too.

#include "stores/MsgStoresListModel.h"

#include <ostream>
#include <string>

namespace QoCli {

/// Text from a settings file or a store list on one line, its control
/// characters shown as escapes (terminalText).
std::string oneLine(std::wstring text);

void printStoreSources(std::ostream& out,
                       const Kerf::QuireLib::CMsgStoresListModel::SourceRows& rows);

} // namespace QoCli

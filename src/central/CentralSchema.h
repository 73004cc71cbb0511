#pragma once
// The central index's tables in the schema "qosearch": one row per message
// (messages), the folders that hold them (folders) and who may read each
// folder (folder_readers: folder, role). Row-level security shows a message,
// a folder or a reader row only to a role named for its folder (or a member
// of one), or to everyone when the folder's readers include "public". The
// role that creates the tables owns them and sees every row: the service.

namespace Kerf::Central {

class CPgConnection;

/// Creates whatever is missing and (re)states the policies; safe to run on
/// every start.
void createSchema(CPgConnection& connection);

/// Whether the database lets searches under row-level security use the word
/// indexes: only when a superuser has declared the match operator's function
/// leakproof. Without it every search reads every row the user may see.
bool wordIndexesServeUsers(CPgConnection& connection);

} // namespace Kerf::Central

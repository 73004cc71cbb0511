#include "central/CentralSchema.h"

#include "central/PgConnection.h"

namespace Kerf::Central {
namespace {

// Paths compare byte for byte (collation "C"), as the file system names them,
// so that the files below a folder are one range of the primary key.
constexpr const char* kSchema = R"SQL(
CREATE SCHEMA IF NOT EXISTS qosearch;
CREATE TABLE IF NOT EXISTS qosearch.folders (
    id bigserial PRIMARY KEY,
    path text COLLATE "C" NOT NULL UNIQUE
);
CREATE TABLE IF NOT EXISTS qosearch.folder_readers (
    folder_id bigint NOT NULL REFERENCES qosearch.folders (id) ON DELETE CASCADE,
    role text NOT NULL,
    PRIMARY KEY (folder_id, role)
);
CREATE TABLE IF NOT EXISTS qosearch.messages (
    path text COLLATE "C" PRIMARY KEY,
    location text COLLATE "C" NOT NULL,
    folder_id bigint NOT NULL REFERENCES qosearch.folders (id),
    file_name text NOT NULL,
    modified_ns bigint NOT NULL,
    size bigint NOT NULL,
    subject text NOT NULL DEFAULT '',
    normalised_subject text NOT NULL DEFAULT '',
    sender text NOT NULL DEFAULT '',
    recipients_to text NOT NULL DEFAULT '',
    recipients_cc text NOT NULL DEFAULT '',
    recipients_bcc text NOT NULL DEFAULT '',
    sent_date timestamp,
    embedded_attachments integer NOT NULL DEFAULT 0,
    non_embedded_attachments integer NOT NULL DEFAULT 0,
    attachment_names text NOT NULL DEFAULT '',
    subject_words tsvector NOT NULL DEFAULT '',
    body_words tsvector NOT NULL DEFAULT '',
    from_words tsvector NOT NULL DEFAULT '',
    to_words tsvector NOT NULL DEFAULT '',
    cc_words tsvector NOT NULL DEFAULT '',
    bcc_words tsvector NOT NULL DEFAULT '',
    attachment_words tsvector NOT NULL DEFAULT ''
);
CREATE INDEX IF NOT EXISTS messages_folder ON qosearch.messages (folder_id);
CREATE INDEX IF NOT EXISTS messages_sent ON qosearch.messages (sent_date);
CREATE INDEX IF NOT EXISTS messages_subject_words ON qosearch.messages USING gin (subject_words);
CREATE INDEX IF NOT EXISTS messages_body_words ON qosearch.messages USING gin (body_words);
CREATE INDEX IF NOT EXISTS messages_from_words ON qosearch.messages USING gin (from_words);
CREATE INDEX IF NOT EXISTS messages_to_words ON qosearch.messages USING gin (to_words);
CREATE INDEX IF NOT EXISTS messages_cc_words ON qosearch.messages USING gin (cc_words);
CREATE INDEX IF NOT EXISTS messages_bcc_words ON qosearch.messages USING gin (bcc_words);
CREATE INDEX IF NOT EXISTS messages_attachment_words
    ON qosearch.messages USING gin (attachment_words);

ALTER TABLE qosearch.folder_readers ENABLE ROW LEVEL SECURITY;
ALTER TABLE qosearch.folders ENABLE ROW LEVEL SECURITY;
ALTER TABLE qosearch.messages ENABLE ROW LEVEL SECURITY;
DROP POLICY IF EXISTS readable ON qosearch.folder_readers;
DROP POLICY IF EXISTS readable ON qosearch.folders;
DROP POLICY IF EXISTS readable ON qosearch.messages;
-- A reader row is visible to its role and that role's members; the other two
-- tables lean on it, so a user sees only the folders that name them.
CREATE POLICY readable ON qosearch.folder_readers FOR SELECT USING (
    role = 'public' OR role IN (
        SELECT rolname FROM pg_catalog.pg_roles
        WHERE pg_catalog.pg_has_role(current_user, oid, 'MEMBER')));
CREATE POLICY readable ON qosearch.folders FOR SELECT USING (
    id IN (SELECT folder_id FROM qosearch.folder_readers));
CREATE POLICY readable ON qosearch.messages FOR SELECT USING (
    folder_id IN (SELECT folder_id FROM qosearch.folder_readers));

GRANT USAGE ON SCHEMA qosearch TO PUBLIC;
GRANT SELECT ON qosearch.folder_readers, qosearch.folders, qosearch.messages TO PUBLIC;
)SQL";

} // namespace

void createSchema(CPgConnection& connection) {
    // One service at a time changes the tables' shape.
    connection.inTransaction("BEGIN; SELECT pg_advisory_xact_lock(7170113);",
                             [&connection] { connection.run(kSchema); });
}

bool wordIndexesServeUsers(CPgConnection& connection) {
    return connection
               .query("SELECT proleakproof FROM pg_catalog.pg_proc "
                      "WHERE oid = 'pg_catalog.ts_match_vq(tsvector, tsquery)'::regprocedure")
               .text(0, 0) == "t";
}

} // namespace Kerf::Central

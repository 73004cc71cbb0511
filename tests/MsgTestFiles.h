#pragma once
// Message files with known contents, written for one test into a temporary
// folder by the project's own message writer.

#include "MsgWriter.h"
#include "SampleMessage.h"
#include "TempDir.h"

#include "mail/EmailMetadataFile.h"
#include "support/Strings.h"

#include <string>

namespace QoTest {

class MsgFiles {
public:
    std::filesystem::path write(const std::string& name, const QoMsg::MsgMessage& message) {
        const std::filesystem::path path = m_dir / name;
        QoMsg::writeMsgFile(path, message);
        return path;
    }
    Kerf::QuireLib::CEmailMetadata_File read(const std::filesystem::path& path,
                                             bool countAttachments = true) const {
        return Kerf::QuireLib::CEmailMetadata_File(Kerf::Util::fromPath(path), countAttachments);
    }
    Kerf::QuireLib::CEmailMetadata_File roundTrip(const QoMsg::MsgMessage& message) {
        return read(write("message" + std::to_string(++m_iCount) + ".msg", message));
    }
    const std::filesystem::path& folder() const { return m_dir.path(); }

private:
    TempDir m_dir;
    int m_iCount = 0;
};

} // namespace QoTest

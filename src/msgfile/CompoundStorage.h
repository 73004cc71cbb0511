#pragma once
// The compound-file layer under the message reader: a storage (folder) and a
// stream (file) of a compound file, opened through libgsf's OLE2 reader.
// Every size handed out here has already been checked against the file's
// length, so callers may allocate by it.

#include "msgfile/GObjectRef.h"

#include <gsf/gsf-infile.h>
#include <gsf/gsf-input.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Mapi {

class CStream {
public:
    explicit CStream(GObjectRef<GsfInput> input);

    std::uint64_t size() const { return m_iSize; }
    /// The next `count` bytes without copying them; valid until the next read
    /// or until the stream is destroyed. Null when they cannot be read.
    const std::uint8_t* readView(std::size_t count);
    /// Copies up to `count` bytes into `buffer`; returns how many were read.
    std::size_t read(std::uint8_t* buffer, std::size_t count);

private:
    GObjectRef<GsfInput> m_input;
    std::uint64_t m_iSize = 0;
};

class CStorage {
public:
    /// Opens the root storage of a compound file held in `source`. Returns null
    /// and a reason when the data is not a readable compound file.
    static std::shared_ptr<CStorage> open(GsfInput* source, std::string& error);
    /// Opens the compound file in `size` bytes at `data`, which must outlive
    /// the storage and everything opened from it.
    static std::shared_ptr<CStorage> openMemory(const std::uint8_t* data, std::size_t size,
                                                std::string& error);

    explicit CStorage(GObjectRef<GsfInfile> infile, std::uint64_t fileSize);

    int childCount() const { return static_cast<int>(m_names.size()); }
    std::string_view childName(int index) const { return m_names.at(index); }
    /// The child as a storage; null when it is a stream or cannot be opened.
    std::shared_ptr<CStorage> openStorage(int index) const;
    /// The child as a stream; null when it is a storage or cannot be opened.
    std::unique_ptr<CStream> openStream(int index) const;

    /// Length of the whole compound file: no stream can be longer.
    std::uint64_t fileSize() const { return m_iFileSize; }

private:
    GObjectRef<GsfInput> openChild(int index) const;

    GObjectRef<GsfInfile> m_infile;
    std::vector<std::string_view> m_names;
    std::uint64_t m_iFileSize = 0;
};

/// Once per process: libgsf set up and GLib's log output sent to the trace log.
void initialiseCompoundFiles();

} // namespace Mapi

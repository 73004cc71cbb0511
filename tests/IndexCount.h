#pragma once
// How many documents an index on disk holds, read straight through CLucene,
// without the program's own code.

#include <CLucene.h>

#include <filesystem>

namespace QoTest {

inline int documentsIn(const std::filesystem::path& index) {
    lucene::index::IndexReader* reader = lucene::index::IndexReader::open(index.c_str());
    const int count = reader->numDocs();
    reader->close();
    delete reader;
    return count;
}

} // namespace QoTest

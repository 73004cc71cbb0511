// The listing of what the index holds is looked up by folder range: paths
// that share a beginning, files beside sub-folders, and a listing that comes
// in another order must still find exactly their own file.

#include "search/IndexedFiles.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

using Kerf::Search::CIndexedFiles;
using Kerf::Search::FileState;

TEST(IndexedFiles, FindsExactlyTheListedPathWhateverItsNeighbours) {
    // Listed as the index lists them, except "é" (after "z" in UTF-8) and a
    // path listed twice, whose first state stays.
    const std::vector<std::pair<std::string, std::int64_t>> listed = {
        {"/r/a b/x.msg", 1}, {"/r/a-b/x.msg", 2},      {"/r/a/m.msg", 3},  {"/r/a/sub/x.msg", 4},
        {"/r/a/z.msg", 5},   {"/r/\xc3\xa9/x.msg", 6}, {"/r/ab/x.msg", 7}, {"/r/a/m.msg", 8},
        {"/r/z/x.msg", 9},   {"/r/a.msg", 10}};
    CIndexedFiles files;
    for (const auto& [path, size] : listed)
        files.add(path, FileState{0, size});
    files.finish();
    EXPECT_EQ(files.size(), listed.size() - 1);

    // In an order that leaves each folder and comes back to it.
    const std::vector<std::pair<std::string, std::optional<std::int64_t>>> lookups = {
        {"/r/a/z.msg", 5},        {"/r/a-b/x.msg", 2}, {"/r/a/m.msg", 3},   {"/r/a/sub/x.msg", 4},
        {"/r/a/x.msg", {}},       {"/r/a/sub", {}},    {"/r/a b/x.msg", 1}, {"/r/ab/x.msg", 7},
        {"/r/\xc3\xa9/x.msg", 6}, {"/r/z/x.msg", 9},   {"/r/a.msg", 10},    {"/r/a/z.msg", 5},
        {"/r/a/z.msg2", {}},      {"/r/a/z.ms", {}},   {"/r/a", {}},        {"relative.msg", {}}};
    for (const auto& [path, size] : lookups) {
        CIndexedFiles::File* file = files.find(path);
        ASSERT_EQ(file != nullptr, size.has_value()) << path;
        if (file != nullptr) {
            EXPECT_EQ(file->state.size, *size) << path;
        }
    }
}

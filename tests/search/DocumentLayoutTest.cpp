// What the index keeps of each file: fields in an order that lets readers stop early, its state as
// text that reads back, and the listing of what it holds, looked up by folder range (paths sharing
// a beginning, files beside sub-folders and another order still find exactly their own).

#include "search/DocumentLayout.h"
#include "search/FileState.h"
#include "search/IndexedFiles.h"

#include "EngineTestSupport.h"

using namespace EngineTest;
using namespace Kerf;
using namespace Kerf::Search;

namespace {

std::vector<std::wstring> storedNames(const Document& document) {
    std::vector<std::wstring> names;
    for (const auto* field : *document.getFields())
        names.push_back(field->name());
    return names;
}

} // namespace

TEST(DocumentLayout, ReadersStopWhereTheOrderLetsThem) {
    IndexFolders folders;
    CMetadata record;
    // The record's own key order would put "Body" before "Location".
    record.SetStringValue(L"Body", L"the long text");
    record.SetStringValue(L"Location", L"/srv/mail/a.msg");
    record.SetStringValue(L"Subject", L"Invoice");
    record.SetFileState({1700000000123456789, 4096});
    CDocumentBuilder builder(record);
    Writer::add(builder.document(), L"Size", 4096);
    {
        auto writer = folders.writer();
        auto document = builder.finish();
        Writer::add(*writer, *document);
    }
    auto searcher = folders.searcher();
    auto& reader = *searcher->getReader();

    const std::pair<const lucene::document::FieldSelector*, std::vector<std::wstring>> reads[] = {
        {nullptr, {L"Location", L"Subject", L"Size", L"FileState", L"Body"}},
        {&locationOnly(), {L"Location"}},
        {&allButBody(), {L"Location", L"Subject", L"Size", L"FileState"}}};
    for (const auto& [selector, names] : reads) {
        Document document;
        reader.document(0, document, selector);
        EXPECT_EQ(storedNames(document), names);
    }
}

TEST(FileStateText, ReadsBackWhatWasWrittenAndRefusesOtherText) {
    const std::wstring sep(1, L'\x1f');
    // The separator and digits in the path itself, and a letter past U+FFFF.
    for (const auto& [path, state] : std::vector<std::pair<std::wstring, FileState>>{
             {L"/a/b.msg", {12, 34}},
             {L"/a" + sep + L"9" + sep + L"9/b.msg", {5, -1}},
             {L"/\U0001F600.msg", {-3, 0}}}) {
        std::wstring readPath;
        FileState readState{77, 77};
        EXPECT_TRUE(parseFileStateText(fileStateText(path, state), readPath, readState));
        EXPECT_EQ(readPath, path);
        EXPECT_EQ(readState, state);
    }
    for (const std::wstring& text :
         {std::wstring(L"/a/b.msg"), L"/a/b.msg" + sep + L"12",
          L"/a/b.msg" + sep + L"1x" + sep + L"3", L"/a/b.msg" + sep + L"1" + sep,
          L"/a/b.msg" + sep + L"1" + sep + L"99999999999999999999999"}) {
        std::wstring path = L"unchanged";
        FileState state{77, 77};
        EXPECT_FALSE(parseFileStateText(text, path, state)) << Util::toNarrow(text);
        EXPECT_EQ(path, L"unchanged");
    }
}

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
        const CIndexedFiles::File* file = files.find(path);
        EXPECT_EQ(file ? std::optional(file->state.size) : std::nullopt, size) << path;
    }
}

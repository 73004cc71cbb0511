// Store-list paths written the Windows way, mapped through a mount table and
// the user's [PathMap], and the reasons given where they cannot be.

#include "stores/PathMapping.h"

#include "StoresTestSupport.h"

using namespace Kerf::QuireLib;
using Kerf::Util::toNarrow;

namespace {

const char* const kMountInfo =
    "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
    "40 22 0:35 / /mnt/jobs rw,relatime shared:20 - cifs //FileServer/Jobs rw,vers=3.0\n"
    "41 22 0:36 / /mnt/old\\040jobs rw - smb3 //fileserver/archive/2019 rw\n"
    "42 22 0:37 /sub /mnt/rooted rw shared:7 master:2 - cifs //nas/data rw\n"
    "43 22 0:38 / /media/nfs rw - nfs4 nas:/export rw\n";

} // namespace

TEST(PathMapping, MountTableAndPrefixesMapWindowsPaths) {
    const CPathMapper mapper(ParseCifsMounts(kMountInfo),
                             {{L"J:\\", L"/srv/jobs/"},
                              {L"J:\\Jobs\\Special\\", L"/special"},
                              {L"\\\\fileserver\\jobs2\\", L"/srv/j2/"}});
    const struct {
        const wchar_t* storePath;
        const wchar_t* path;   // empty when it cannot be mapped
        const wchar_t* reason; // a part of the reason
    } cases[] = {
        {L"\\\\fileserver\\jobs\\J1001\\Mail", L"/mnt/jobs/J1001/Mail", L""},
        {L"\\\\FILESERVER\\JOBS", L"/mnt/jobs", L""},
        {L"File:\\\\fileserver\\Jobs\\A", L"/mnt/jobs/A", L""},
        {L"\\\\fileserver\\archive\\2019\\J9", L"/mnt/old jobs/J9", L""},
        {L"\\\\nas\\data\\sub\\x", L"/mnt/rooted/x", L""},
        {L"\\\\fileserver\\jobs2\\x", L"/srv/j2/x", L""},
        {L"J:\\Jobs\\J1001", L"/srv/jobs/Jobs/J1001", L""},
        {L"j:\\jobs\\special\\x", L"/special/x", L""},
        {L"/srv/native", L"/srv/native", L""},
        {L"\\\\fileserver\\archive\\2020\\J9", L"", L"\\\\fileserver\\archive is not mounted"},
        {L"\\\\other\\jobs\\x", L"", L"\\\\other\\jobs is not mounted"},
        {L"\\\\nas\\export\\x", L"", L"not mounted"},
        {L"\\\\lonely", L"", L"Not a complete network path"},
        {L"K:\\x", L"", L"K: has no folder here: add it to [PathMap]"},
        {L"jobs\\2020", L"", L"Not a folder path"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(toNarrow(c.storePath));
        const LocatedPath located = mapper.Map(c.storePath);
        EXPECT_EQ(located.sPath, c.path);
        if (c.reason[0] == L'\0')
            EXPECT_TRUE(located.IsReachable()) << toNarrow(located.sReason);
        else
            EXPECT_NE(located.sReason.find(c.reason), std::wstring::npos)
                << toNarrow(located.sReason);
    }
}

TEST(PathMapping, TheUsersSettingsFileMapsADriveToAFolderHere) {
    StoresTest::ScopedUser user;
    std::filesystem::create_directories(user.dir.path() / "srv/jobs/J1001");
    QoTest::writeFile(user.appData() / "EmailFiling.cfg",
                      "[Columns]\nLocationPriRefAlias=Job\n[PathMap]\nJ:\\=" +
                          (user.dir.path() / "srv/jobs").string() + "/\n");
    const CPathMapper mapper = CPathMapper::ForThisUser();
    const LocatedPath there = mapper.Locate(L"J:\\J1001");
    EXPECT_TRUE(there.IsReachable()) << toNarrow(there.sReason);
    EXPECT_EQ(there.sPath, Kerf::Util::toWide((user.dir.path() / "srv/jobs/J1001").string()));
}

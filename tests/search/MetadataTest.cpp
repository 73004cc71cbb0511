#include "mail/EmailMetadata.h"

#include <gtest/gtest.h>

using namespace Kerf::QuireLib;

TEST(Metadata, KeysAreCaseSensitiveAndListedInOrder) {
    CEmailMetadata record;
    for (const wchar_t* key :
         {L"To", L"Subject", L"Normalised_Subject", L"Location", L"From", L"Cc", L"Body", L"Bcc"})
        record.SetStringValue(key, std::wstring(key) + L" value");
    record.SetStringValue(L"subject", L"lower");
    EXPECT_EQ(record.GetStringValue(L"Subject"), L"Subject value");
    EXPECT_EQ(record.GetStringValue(L"subject"), L"lower");
    const CMetadata::Keys keys = record.GetKeys();
    const std::vector<std::wstring> ordered(keys.begin(), keys.end());
    EXPECT_EQ(ordered,
              (std::vector<std::wstring>{L"Bcc", L"Body", L"Cc", L"From", L"Location",
                                         L"Normalised_Subject", L"Subject", L"To", L"subject"}));
}

TEST(Metadata, AnEmptyRecordStartsAtZeroAndKnowsOnlyWhatWasSet) {
    CMetadataPtr record = std::make_shared<CEmailMetadata>();
    record->SetStringValue(L"Location", L"/mail/broken.msg");
    record->SetSize(1234);
    EXPECT_EQ(record->GetStringValue(L"Subject"), L"");
    EXPECT_FALSE(record->HasValue(L"Subject"));
    EXPECT_TRUE(record->HasValue(L"Location"));
    const auto& mail = dynamic_cast<const CEmailMetadata&>(*record);
    EXPECT_EQ(mail.GetSentDate().m_dt, 0.0);
    EXPECT_EQ(mail.GetSentDate().GetStatus(), Kerf::OleDate::valid);
    EXPECT_EQ(mail.GetEmbeddedAttachments(), 0);
    EXPECT_EQ(mail.GetNonEmbeddedAttachments(), 0);
    EXPECT_EQ(mail.GetSize(), 1234);
}

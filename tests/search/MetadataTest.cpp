#include "search/Metadata.h"

#include <gtest/gtest.h>

using namespace Kerf::QuireLib;

TEST(Metadata, KeysAreCaseSensitiveAndOnlyWhatWasSetIsThere) {
    CMetadata record;
    record.SetStringValue(L"Subject", L"upper");
    record.SetStringValue(L"subject", L"lower");
    EXPECT_EQ(record.GetStringValue(L"Subject"), L"upper");
    EXPECT_EQ(record.GetStringValue(L"subject"), L"lower");
    EXPECT_EQ(record.GetKeys().size(), 2u);
    EXPECT_FALSE(record.HasValue(L"Body"));
    EXPECT_EQ(record.GetStringValue(L"Body"), L"");
}

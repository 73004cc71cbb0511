#include "mail/PeopleText.h"

#include <gtest/gtest.h>

using namespace Kerf::QuireLib;

// The header line of the sender or of one kind of recipients: "Name
// <address>" where both are known, the address alone where the name is it.
TEST(PeopleText, NamesWithTheirAddressesAsTheHeaderShowsThem) {
    struct Case {
        std::wstring names;
        std::vector<MailRecipient> people;
        std::wstring shown;
    };
    const Case cases[] = {
        {L"Ann Smith", {{L"Ann Smith", L"ann@firm.com"}}, L"Ann Smith <ann@firm.com>"},
        {L"ann@firm.com", {{L"ANN@firm.com", L"ann@firm.com"}}, L"ann@firm.com"},
        {L"'ann@firm.com'", {{L"'ann@firm.com'", L"ann@firm.com"}}, L"ann@firm.com"},
        {L"\"ann@firm.com\"", {{L"\"ann@firm.com\"", L"ann@firm.com"}}, L"ann@firm.com"},
        {L"", {{L"", L"ann@firm.com"}}, L"ann@firm.com"},
        // Names without any address stay as the message lists them.
        {L"Ann; Bob", {{L"Ann", L""}, {L"Bob", L""}}, L"Ann; Bob"},
        {L"Ann; Bob", {{L"Ann", L"ann@firm.com"}, {L"Bob", L""}}, L"Ann <ann@firm.com>; Bob"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.shown));
        CEmailMetadata record;
        record.SetStringValue(L"Cc", c.names);
        record.SetRecipients(RecipientKind::Cc, c.people);
        EXPECT_EQ(peopleText(record, L"Cc"), c.shown);
        if (c.people.size() == 1) {
            record.SetStringValue(L"From", c.people[0].name);
            record.SetFromAddress(c.people[0].address);
            EXPECT_EQ(peopleText(record, L"From"), c.shown);
        }
    }
}

#include "controls/ResultsRow.h"
#include "controls/SortListCtrl.h"

#include "ListColumn.h"
#include "support/Strings.h"

#include <QLocale>

#include <gtest/gtest.h>

namespace RR = Kerf::QuireLib::ResultsRow;
using Kerf::DateTime;
using Kerf::QuireLib::CSortListCtrl;

namespace {

RR::Hit hit(const std::wstring& subject, const std::wstring& normalised, DateTime sent,
            std::int32_t size = 2048, std::int32_t attachments = 0) {
    const std::wstring location = L"/filed/Project X/" + subject + L".msg";
    return {L"Ann Smith", L"Bob Jones", subject, normalised, location, sent, size, attachments};
}

} // namespace

TEST(ResultsList, CellsShowAndSortAsTheResultsListNeeds) {
    CSortListCtrl list(1004);
    list.SetHeadings(RR::kHeadings);
    const int row = RR::insertRow(
        list, RR::buildTexts(hit(L"RE: Budget", L"Budget", {2013, 11, 18, 9, 26, 24}, 1023, 0)));
    EXPECT_EQ(list.GetItemText(row, RR::Size), L"0 KB");
    EXPECT_EQ(RR::itemDirectory(list, row), L"/filed/Project X/");
    EXPECT_EQ(RR::itemPath(list, row), L"/filed/Project X/RE: Budget.msg");
    // A reply sorts by the original's subject, a message without a normalised subject by its own.
    RR::insertRow(list, RR::buildTexts(hit(L"Quote", L"", {2013, 11, 18, 9, 0, 0})));
    list.Sort(RR::Subject, true);
    EXPECT_EQ(column(list, RR::Subject), (std::vector<std::wstring>{L"RE: Budget", L"Quote"}));

    const RR::Texts big = RR::buildTexts(hit(L"S", L"S", {2020, 1, 2}, 2147483647, 3));
    EXPECT_EQ(big.display[RR::Size], L"2097151 KB");
}

TEST(ResultsListDates, ShowFourDigitYearsInTheLocalesOrder) {
    const DateTime sent{2009, 3, 4, 10, 0, 0};
    const std::vector<std::pair<QLocale, std::wstring>> cases{
        {QLocale(QLocale::English, QLocale::UnitedStates), L"3/4/2009"},
        {QLocale(QLocale::English, QLocale::UnitedKingdom), L"04/03/2009"},
        {QLocale(QLocale::German, QLocale::Germany), L"04.03.2009"},
        {QLocale(QLocale::Japanese, QLocale::Japan), L"2009/03/04"},
        {QLocale(QLocale::Dutch, QLocale::Netherlands), L"04-03-2009"}};
    for (const auto& [locale, expected] : cases) {
        QLocale::setDefault(locale);
        const std::wstring shown = RR::sentDisplayText(sent);
        QLocale::setDefault(QLocale::system());
        EXPECT_EQ(shown, expected) << locale.name().toStdString();
    }
}

// Numbers sort by value through their padding, which collations skipping blanks would undo; Sent
// by date and time, unsent first: in the short US form "1/2/14" comes before "12/31/13".
TEST(ResultsList, NumbersAndDatesSortByValueInEveryLocale) {
    const struct {
        const wchar_t* subject;
        std::int32_t size, attachments;
        DateTime sent;
    } rows[] = {
        {L"late", 20000, 10, {2013, 12, 31, 17, 0, 0}},
        {L"new year", 5, 0, {2014, 1, 2, 8, 0, 0}},
        {L"unsent", 1023, 2, {}},
        {L"early", 100, 1, {2013, 12, 31, 8, 30, 0}},
        {L"old", 2147483647, 100, {1900, 1, 1, 0, 0, 0}},
        {L"none", 0, 9, {2013, 6, 1, 12, 0, 0}},
    };
    for (const QLocale& locale : {QLocale::c(), QLocale(QLocale::English, QLocale::UnitedStates),
                                  QLocale(QLocale::German, QLocale::Germany)}) {
        SCOPED_TRACE(locale.name().toStdString());
        QLocale::setDefault(locale);
        CSortListCtrl list(1004);
        list.SetHeadings(RR::kHeadings);
        for (const auto& r : rows)
            RR::insertRow(list,
                          RR::buildTexts(hit(r.subject, r.subject, r.sent, r.size, r.attachments)));
        list.Sort(RR::Size, true);
        const auto bySize = column(list, RR::Subject);
        list.Sort(RR::Attachments, true);
        const auto byAttachments = column(list, RR::Attachments);
        list.Sort(RR::Sent, true);
        const auto bySent = column(list, RR::Subject);
        QLocale::setDefault(QLocale::system());
        EXPECT_EQ(bySize, (std::vector<std::wstring>{L"none", L"new year", L"early", L"unsent",
                                                     L"late", L"old"}));
        EXPECT_EQ(byAttachments, (std::vector<std::wstring>{L"", L"1", L"2", L"9", L"10", L"100"}));
        EXPECT_EQ(bySent, (std::vector<std::wstring>{L"unsent", L"old", L"none", L"early", L"late",
                                                     L"new year"}));
        EXPECT_EQ(list.GetItemText(0, RR::Sent), L"");
        // The date alone: one text for any time of that day.
        EXPECT_EQ(list.GetItemText(3, RR::Sent), list.GetItemText(4, RR::Sent));
    }
}

TEST(ResultsListFolders, ShowThePathBelowThePlaceSearchedByItsName) {
    const std::vector<RR::Place> places = {
        {L"/srv/mail", L""}, {L"/srv/mail/2019/", L"P-12"}, {L"/", L""}};
    const struct {
        const wchar_t* directory;
        const wchar_t* shown;
    } cases[] = {
        {L"/srv/mail/A/", L"mail/A/"},
        {L"/srv/mail/", L"mail/"},
        {L"/srv/mail/2019/B/", L"P-12/B/"},       // the deepest place, by its reference
        {L"/srv/mailbox/x/", L"/srv/mailbox/x/"}, // a longer name is not below "mail"
    };
    for (const auto& c : cases)
        EXPECT_EQ(RR::folderDisplayText(c.directory, places), c.shown)
            << Kerf::Util::toNarrow(c.directory);
    EXPECT_EQ(RR::folderDisplayText(L"/elsewhere/", {{L"/srv/mail", L""}}), L"/elsewhere/");
}

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
    RR::Hit h;
    h.from = L"Ann Smith";
    h.to = L"Bob Jones";
    h.subject = subject;
    h.normalisedSubject = normalised;
    h.location = L"/filed/Project X/" + subject + L".msg";
    h.sent = sent;
    h.size = size;
    h.attachments = attachments;
    return h;
}

struct ResultsList : testing::Test {
    ResultsList() { list.SetHeadings(RR::kHeadings); }
    CSortListCtrl list{1004};
};

} // namespace

TEST_F(ResultsList, CellsShowAndSortAsTheResultsListNeeds) {
    const int row = RR::insertRow(
        list, RR::buildTexts(hit(L"RE: Budget", L"Budget", {2013, 11, 18, 9, 26, 24}, 1023, 0)));
    EXPECT_EQ(list.GetItemText(row, RR::Subject), L"RE: Budget");
    EXPECT_EQ(list.GetSortText(row, RR::Subject), L"Budget");
    // The date alone: the same text for any time of that day.
    EXPECT_EQ(list.GetItemText(row, RR::Sent), RR::sentDisplayText({2013, 11, 18, 23, 59, 59}));
    EXPECT_EQ(list.GetItemText(row, RR::Attachments), L"");
    EXPECT_EQ(list.GetItemText(row, RR::Size), L"0 KB");
    EXPECT_EQ(RR::itemDirectory(list, row), L"/filed/Project X/");
    EXPECT_EQ(RR::itemPath(list, row), L"/filed/Project X/RE: Budget.msg");

    const RR::Texts big = RR::buildTexts(hit(L"S", L"S", {2020, 1, 2}, 2147483647, 3));
    EXPECT_EQ(big.display[RR::Size], L"2097151 KB");
    EXPECT_EQ(big.display[RR::Attachments], L"3");
}

TEST_F(ResultsList, SentSortFollowsDateAndTimeAndPutsUnsentFirst) {
    // In this locale's short form "1/2/14" would come before "12/31/13".
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    RR::insertRow(list, RR::buildTexts(hit(L"late", L"late", {2013, 12, 31, 17, 0, 0})));
    RR::insertRow(list, RR::buildTexts(hit(L"new year", L"new year", {2014, 1, 2, 8, 0, 0})));
    RR::insertRow(list, RR::buildTexts(hit(L"unsent", L"unsent", DateTime{})));
    RR::insertRow(list, RR::buildTexts(hit(L"early", L"early", {2013, 12, 31, 8, 30, 0})));
    RR::insertRow(list, RR::buildTexts(hit(L"old", L"old", {1900, 1, 1, 0, 0, 0})));
    QLocale::setDefault(QLocale::system());
    list.Sort(RR::Sent, true);
    EXPECT_EQ(column(list, RR::Subject),
              (std::vector<std::wstring>{L"unsent", L"old", L"early", L"late", L"new year"}));
    EXPECT_EQ(list.GetItemText(0, RR::Sent), L"");
    EXPECT_EQ(list.GetItemText(2, RR::Sent), list.GetItemText(3, RR::Sent));
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

TEST(ResultsListNumbers, SortNumericallyThroughTheirPaddingInEveryLocale) {
    const std::vector<std::int32_t> sizes{20000, 5, 1023, 100, 2147483647, 0};
    const std::vector<std::int32_t> attachments{10, 0, 2, 1, 100, 9};
    // Collations that skip blanks would order the padded texts by their
    // first digit.
    for (const QLocale& locale : {QLocale::c(), QLocale(QLocale::English, QLocale::UnitedStates),
                                  QLocale(QLocale::German, QLocale::Germany)}) {
        SCOPED_TRACE(locale.name().toStdString());
        QLocale::setDefault(locale);
        CSortListCtrl list(1004);
        list.SetHeadings(RR::kHeadings);
        for (size_t i = 0; i < sizes.size(); ++i)
            RR::insertRow(list, RR::buildTexts(hit(std::to_wstring(sizes[i]), L"x", {2014, 1, 1},
                                                   sizes[i], attachments[i])));
        list.Sort(RR::Size, true);
        const auto bySize = column(list, RR::Subject);
        list.Sort(RR::Attachments, true);
        const auto byAttachments = column(list, RR::Attachments);
        QLocale::setDefault(QLocale::system());
        EXPECT_EQ(bySize, (std::vector<std::wstring>{L"0", L"5", L"100", L"1023", L"20000",
                                                     L"2147483647"}));
        EXPECT_EQ(byAttachments, (std::vector<std::wstring>{L"", L"1", L"2", L"9", L"10", L"100"}));
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

#include "controls/SortListCtrl.h"
#include "controls/HeadingText.h"

#include "ListColumn.h"

#include <QLocale>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using Kerf::QuireLib::CSortListCtrl;
using Kerf::QuireLib::HeadingColumn;
using Kerf::QuireLib::parseHeadingText;

TEST(HeadingText, TextsWithoutCommaDeclareNothingWidthsAreLeadingDigitsAndZeroHides) {
    EXPECT_TRUE(parseHeadingText(L"No columns here").empty());
    // A trailing stretch without "," declares nothing.
    EXPECT_EQ(parseHeadingText(L"A,10;B"), (std::vector<HeadingColumn>{{L"A", 10}}));
    EXPECT_EQ(parseHeadingText(L"X,  7px;Y,wide"),
              (std::vector<HeadingColumn>{{L"X", 7}, {L"Y", 0}}));

    // A list declares them with their widths, and hides those of width zero.
    CSortListCtrl list(1);
    EXPECT_TRUE(list.SetHeadings(L"A,40;Hidden, 0;B,50"));
    EXPECT_TRUE(list.SetHeadings(L"C,60;")); // appended after the first set
    ASSERT_EQ(list.model()->columnCount(), 4);
    EXPECT_EQ(list.model()->headerData(3, Qt::Horizontal).toString(), "C");
    EXPECT_TRUE(list.isColumnHidden(1));
    EXPECT_EQ(widths(list), (std::vector<int>{40, 0, 50, 60}));
}

TEST(SortListCtrl, HeadingClicksSortAscendingThenReverseAndShowTheArrow) {
    CSortListCtrl list(2);
    list.SetHeadings(L"Name,80;Code,80;");
    list.AddItem({L"beta", L"2"});
    list.AddItem({L"alpha", L"3"});
    list.AddItem({L"gamma", L"1"});
    list.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&list, 30000));
    // Another column starts ascending again, whatever the last direction.
    const struct {
        int clicked;
        std::vector<std::wstring> texts;
        Qt::SortOrder order;
    } clicks[] = {{0, {L"alpha", L"beta", L"gamma"}, Qt::AscendingOrder},
                  {0, {L"gamma", L"beta", L"alpha"}, Qt::DescendingOrder},
                  {1, {L"1", L"2", L"3"}, Qt::AscendingOrder}};
    for (const auto& c : clicks) {
        clickHeading(list, c.clicked);
        EXPECT_EQ(column(list, c.clicked), c.texts);
        EXPECT_EQ(list.IsSortAscending(), c.order == Qt::AscendingOrder);
        EXPECT_EQ(list.header()->sortIndicatorSection(), c.clicked);
        EXPECT_EQ(list.header()->sortIndicatorOrder(), c.order);
    }
}

TEST(SortListCtrl, ComparesCaseSensitivelyInTheUsersLocale) {
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    CSortListCtrl list(4);
    list.SetHeadings(L"T,80");
    for (const wchar_t* t : {L"B", L"b", L"\u00c9t\u00e9", L"A", L"a", L"Zoo"})
        list.AddItem({t});
    list.Sort(0, true);
    QLocale::setDefault(QLocale::system());
    // Ignoring case would keep "B" before "b" (equal texts keep their order); comparing code points
    // would put the capitals first and the accented letter last.
    EXPECT_EQ(column(list, 0),
              (std::vector<std::wstring>{L"a", L"A", L"b", L"B", L"\u00c9t\u00e9", L"Zoo"}));
}

TEST(SortListCtrl, BulkAddReachesTheViewOnceAndSortsOnceAtTheEndThenRowsAreDeleted) {
    CSortListCtrl list(5);
    list.SetHeadings(L"N,80;");
    list.AddItem({L"m"});
    list.Sort(0, false);
    QSignalSpy inserted(list.model(), &QAbstractItemModel::rowsInserted);
    QSignalSpy sorted(&list, &CSortListCtrl::sorted);

    list.startOptimisedAdd(4);
    for (const wchar_t* t : {L"c", L"x", L"a", L"q"}) {
        const int row = list.AddItem({t});
        EXPECT_EQ(row, list.GetItemCount() - 1);
        list.Sort(0, false); // what a status update does; deferred here
    }
    list.SetItemDisplayText(2, 0, L"x-shown");
    EXPECT_FALSE(list.SetItemDisplayText(7, 0, L"no such row"));
    EXPECT_EQ(list.GetItemCount(), 5);
    EXPECT_EQ(list.model()->rowCount(), 1);
    EXPECT_TRUE(list.DeleteItem(4)); // a row not yet shown ("q")
    EXPECT_EQ(inserted.count(), 0);
    EXPECT_EQ(sorted.count(), 0);

    list.finishOptimisedAdd();
    EXPECT_EQ(inserted.count(), 1);
    EXPECT_EQ(sorted.count(), 1);
    EXPECT_EQ(list.model()->rowCount(), 4);
    EXPECT_EQ(column(list, 0), (std::vector<std::wstring>{L"x-shown", L"m", L"c", L"a"}));

    // A row's data goes with it when a row before it is deleted.
    list.SetItemData(2, QStringLiteral("/mail/c.msg"));
    EXPECT_TRUE(list.DeleteItem(1));
    EXPECT_FALSE(list.DeleteItem(5));
    EXPECT_EQ(column(list, 0), (std::vector<std::wstring>{L"x-shown", L"c", L"a"}));
    EXPECT_EQ(list.GetItemData(1).toString(), "/mail/c.msg");
    EXPECT_TRUE(list.DeleteAllItems());
    EXPECT_EQ(list.model()->rowCount(), 0);
    EXPECT_EQ(list.AddItem({L"fresh"}), 0);
}

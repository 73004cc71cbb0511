#include "controls/SortListCtrl.h"

#include "ListColumn.h"
#include "TempDir.h"

#include <QAction>
#include <QDataStream>
#include <QFile>
#include <QSettings>

#include <gtest/gtest.h>

using Kerf::QuireLib::CSortListCtrl;

namespace {

const wchar_t* const kThree = L"From,90;Hidden,0;Subject,150;";
const wchar_t* const kNine = L"A,41;B,42;C,43;D,44;E,45;F,46;G,47;H,48;I,49;";

void storeWidths(int id, const QByteArray& bytes) {
    QSettings(QoTest::kVendor.c_str(), QoTest::kProduct.c_str())
        .setValue("ListCtrls/" + QString::number(id), bytes);
}

QByteArray widthsOf(const std::vector<qint32>& widths) {
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    out << static_cast<qint32>(widths.size());
    for (qint32 w : widths)
        out << w;
    return bytes;
}

/// A list declared with the headings that has read its stored widths.
std::unique_ptr<CSortListCtrl> loaded(int id, const wchar_t* headings) {
    auto list = std::make_unique<CSortListCtrl>(id);
    list->SetHeadings(headings);
    list->LoadColumnInfo();
    return list;
}

} // namespace

TEST(ColumnInfo, WidthsRoundTripPerListInTheUsersSettingsAndThoseThatDoNotFitAreIgnored) {
    int narrowest = 0;
    {
        CSortListCtrl list(1004);
        list.SetHeadings(kThree);
        list.SetColumnWidth(0, 123);
        // Dragged all but shut, a column keeps the first letters of its heading.
        list.GetHeaderCtrl().resizeSection(2, 3);
        narrowest = list.GetColumnWidth(2);
        EXPECT_GT(narrowest, list.GetHeaderCtrl().fontMetrics().horizontalAdvance("Sub"));
        list.SaveColumnInfo();
    }
    // The value sits in this run's temporary configuration folder.
    EXPECT_TRUE(QFile::exists(qEnvironmentVariable("XDG_CONFIG_HOME") + "/" +
                              QoTest::kVendor.c_str() + "/" + QoTest::kProduct.c_str() + ".conf"));
    QSettings settings(QoTest::kVendor.c_str(), QoTest::kProduct.c_str());
    EXPECT_EQ(settings.value("ListCtrls/1004").toByteArray(), widthsOf({123, 0, narrowest}));

    const auto again = loaded(1004, kThree);
    EXPECT_EQ(widths(*again), (std::vector<int>{123, 0, narrowest}));
    EXPECT_TRUE(again->isColumnHidden(1));

    // Widths an older version stored shut show; "Reset Columns" restores widths and order.
    storeWidths(1006, widthsOf({0, 0, 0}));
    const auto shut = loaded(1006, kThree);
    EXPECT_EQ(widths(*shut),
              (std::vector<int>{shut->GetHeaderCtrl().minimumColumnWidth(0), 0, narrowest}));
    shut->GetHeaderCtrl().moveSection(2, 0);
    QAction* reset = shut->GetHeaderCtrl().findChild<QAction*>("resetColumns");
    ASSERT_NE(reset, nullptr);
    reset->trigger();
    EXPECT_EQ(widths(*shut), (std::vector<int>{90, 0, 150}));
    EXPECT_TRUE(shut->isColumnHidden(1));
    EXPECT_EQ(shut->GetHeaderCtrl().visualIndex(2), 2);

    // Nothing stored, eight widths for nine columns, or nine cut short: the declared widths stay.
    EXPECT_EQ(widths(*loaded(1005, kThree)), (std::vector<int>{90, 0, 150}));
    storeWidths(2001, widthsOf(std::vector<qint32>(8, 50)));
    storeWidths(2002, widthsOf(std::vector<qint32>(9, 50)).left(20));
    for (const int id : {2001, 2002})
        EXPECT_EQ(widths(*loaded(id, kNine)),
                  (std::vector<int>{41, 42, 43, 44, 45, 46, 47, 48, 49}))
            << id;
}

// Until the user sets a width, the shown columns fill the list as it is resized, in the proportions
// declared; a width the user sets is kept then, and "Reset Columns" fills the list again.
TEST(ColumnInfo, ColumnsFillTheListUntilTheUserSetsAWidth) {
    const auto list = loaded(3001, L"From,100;Hidden,0;Subject,300;");
    const auto filled = [&list] {
        return list->GetColumnWidth(0) + list->GetColumnWidth(2) == list->viewport()->width();
    };
    for (int width : {800, 500, 1200}) {
        list->resize(width, 300);
        list->show();
        EXPECT_TRUE(filled()) << width;
        EXPECT_NEAR(list->GetColumnWidth(2), 3 * list->GetColumnWidth(0), 3) << width;
    }
    list->SetColumnWidth(0, 77);
    list->resize(700, 300);
    EXPECT_EQ(list->GetColumnWidth(0), 77);
    list->SaveColumnInfo();
    EXPECT_TRUE(
        QSettings(QoTest::kVendor.c_str(), QoTest::kProduct.c_str()).contains("ListCtrls/3001"));
    list->GetHeaderCtrl().findChild<QAction*>("resetColumns")->trigger();
    EXPECT_TRUE(filled());
    // Fitted widths are not stored: the next start fits its own width.
    list->SaveColumnInfo();
    EXPECT_FALSE(
        QSettings(QoTest::kVendor.c_str(), QoTest::kProduct.c_str()).contains("ListCtrls/3001"));
}

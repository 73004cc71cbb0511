#include "controls/SortListCtrl.h"
#include "support/Trace.h"

#include <QDataStream>
#include <QFile>
#include <QIODevice>
#include <QSettings>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using Kerf::QuireLib::CSortListCtrl;

namespace {

const wchar_t* const kNine = L"A,11;B,12;C,13;D,14;E,15;F,16;G,17;H,18;I,19;";

void storeWidths(int id, const QByteArray& bytes) {
    QSettings settings("Pellam", "Quarto");
    settings.beginGroup("ListCtrls");
    settings.setValue(QString::number(id), bytes);
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

std::string readAll(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::vector<int> widths(const CSortListCtrl& list) {
    std::vector<int> w;
    for (int c = 0; c < list.GetColumnCount(); ++c)
        w.push_back(list.GetColumnWidth(c));
    return w;
}

} // namespace

TEST(ColumnInfo, WidthsRoundTripPerListInTheUsersSettings) {
    {
        CSortListCtrl list(1004);
        list.SetHeadings(L"From,90;Hidden,0;Subject,150;");
        list.SetColumnWidth(0, 123);
        list.SetColumnWidth(2, 7);
        list.SaveColumnInfo();
    }
    // The value sits in this run's temporary configuration folder.
    EXPECT_TRUE(QFile::exists(qEnvironmentVariable("XDG_CONFIG_HOME") + "/Pellam/Quarto.conf"));
    QSettings settings("Pellam", "Quarto");
    EXPECT_EQ(settings.value("ListCtrls/1004").toByteArray(), widthsOf({123, 0, 7}));

    CSortListCtrl again(1004);
    again.SetHeadings(L"From,90;Hidden,0;Subject,150;");
    again.LoadColumnInfo();
    EXPECT_EQ(widths(again), (std::vector<int>{123, 0, 7}));
    EXPECT_TRUE(again.isColumnHidden(1));

    CSortListCtrl other(1005); // nothing stored: declared widths stay
    other.SetHeadings(L"From,90;Hidden,0;Subject,150;");
    other.LoadColumnInfo();
    EXPECT_EQ(widths(other), (std::vector<int>{90, 0, 150}));
}

TEST(ColumnInfo, WidthsOfAnotherColumnCountAreTracedAndIgnored) {
    setenv("QOSEARCH_TRACE", "1", 1);
    Kerf::Trace::reinitialise();
    ASSERT_TRUE(Kerf::Trace::isOn());
    const std::string tracePath = Kerf::Trace::traceFilePath();
    EXPECT_EQ(tracePath.rfind(qEnvironmentVariable("XDG_DATA_HOME").toStdString(), 0), 0u);

    storeWidths(2001, widthsOf({50, 50, 50, 50, 50, 50, 50, 50}));
    CSortListCtrl list(2001);
    list.SetHeadings(kNine);
    list.LoadColumnInfo();
    EXPECT_EQ(widths(list), (std::vector<int>{11, 12, 13, 14, 15, 16, 17, 18, 19}));

    // A value cut short keeps the declared widths as well.
    storeWidths(2002, widthsOf({50, 50, 50, 50, 50, 50, 50, 50, 50}).left(20));
    CSortListCtrl cut(2002);
    cut.SetHeadings(kNine);
    cut.LoadColumnInfo();
    EXPECT_EQ(widths(cut), widths(list));

    unsetenv("QOSEARCH_TRACE");
    Kerf::Trace::reinitialise();
    const std::string log = readAll(tracePath);
    EXPECT_NE(log.find("Different number of columns in registry."), std::string::npos) << log;
}

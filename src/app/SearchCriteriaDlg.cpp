#include "app/SearchCriteriaDlg.h"

#include "app/TranslateWindow.h"
#include "controls/LocaleDates.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QDateTime>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>

using Kerf::DateTime;
using Kerf::QuireLib::SearchCriteria;

namespace {

DateTime now() {
    const QDateTime t = QDateTime::currentDateTime();
    return {t.date().year(), t.date().month(),  t.date().day(),
            t.time().hour(), t.time().minute(), t.time().second()};
}

QDate dayOf(const DateTime& dt) {
    return QDate(dt.year, dt.month, dt.day);
}

DateTime withDay(DateTime dt, const QDate& day) {
    if (!day.isValid())
        return dt;
    dt.year = day.year();
    dt.month = day.month();
    dt.day = day.day();
    return dt;
}

QLineEdit* addField(QGridLayout& grid, int row, int column, const char* label,
                    const char* objectName) {
    auto* edit = new QLineEdit;
    edit->setObjectName(QLatin1String(objectName));
    auto* caption = new QLabel(QLatin1String(label));
    caption->setBuddy(edit);
    grid.addWidget(caption, row, column);
    grid.addWidget(edit, row, column + 1);
    return edit;
}

QDateEdit* newDatePicker(const char* objectName) {
    auto* picker = new QDateEdit;
    picker->setObjectName(QLatin1String(objectName));
    picker->setCalendarPopup(true);
    picker->setDisplayFormat(Kerf::QuireLib::shortDateFormatWithCentury());
    return picker;
}

} // namespace

CSearchCriteriaDlg::CSearchCriteriaDlg(QWidget* parent)
    : QWidget(parent), m_pSentAfter(new QCheckBox(QStringLiteral("Sent &after:"))),
      m_pSentBefore(new QCheckBox(QStringLiteral("Se&nt before:"))),
      m_pAfterDate(newDatePicker("sentAfterDate")), m_pBeforeDate(newDatePicker("sentBeforeDate")),
      m_dtAfter(now()), m_dtBefore(m_dtAfter) {
    auto* grid = new QGridLayout(this);
    grid->setColumnStretch(1, 3);
    grid->setColumnStretch(3, 2);
    grid->setColumnMinimumWidth(2, 0);
    m_pSubject = addField(*grid, 0, 0, "S&ubject:", "subject");
    m_pBody = addField(*grid, 1, 0, "Message bod&y:", "body");
    m_pFrom = addField(*grid, 2, 0, "Fr&om:", "from");
    m_pTo = addField(*grid, 3, 0, "Sent &To:", "to");
    m_pFileName = addField(*grid, 4, 0, "F&ilename:", "fileName");
    m_pCc = addField(*grid, 0, 2, "_Cc:", "cc");
    m_pBcc = addField(*grid, 1, 2, "_Bcc:", "bcc");
    m_pAttachment = addField(*grid, 4, 2, "Attac&hment:", "attachment");
    m_pSentAfter->setObjectName(QStringLiteral("sentAfter"));
    m_pSentBefore->setObjectName(QStringLiteral("sentBefore"));
    grid->addWidget(m_pSentAfter, 2, 2);
    grid->addWidget(m_pAfterDate, 2, 3);
    grid->addWidget(m_pSentBefore, 3, 2);
    grid->addWidget(m_pBeforeDate, 3, 3);
    grid->setRowStretch(5, 1);

    connect(m_pSentAfter, &QCheckBox::toggled, this, &CSearchCriteriaDlg::OnBnClickedCheckAfter);
    connect(m_pSentBefore, &QCheckBox::toggled, this, &CSearchCriteriaDlg::OnBnClickedCheckBefore);

    SearchCriteria initial;
    initial.m_dtSentAfter = m_dtAfter;
    initial.m_dtSentBefore = m_dtBefore;
    set(initial);
    TranslateWindow(this);
}

SearchCriteria CSearchCriteriaDlg::get() const {
    SearchCriteria c;
    c.m_sSubject = m_pSubject->text().toStdWString();
    c.m_sBody = m_pBody->text().toStdWString();
    c.m_sFrom = m_pFrom->text().toStdWString();
    c.m_sTo = m_pTo->text().toStdWString();
    c.m_sCc = m_pCc->text().toStdWString();
    c.m_sBcc = m_pBcc->text().toStdWString();
    c.m_sFileName = m_pFileName->text().toStdWString();
    c.m_sAttachment = m_pAttachment->text().toStdWString();
    c.m_bSentAfter = m_pSentAfter->isChecked();
    c.m_bSentBefore = m_pSentBefore->isChecked();
    c.m_dtSentAfter = withDay(m_dtAfter, m_pAfterDate->date());
    c.m_dtSentBefore = withDay(m_dtBefore, m_pBeforeDate->date());
    return c;
}

void CSearchCriteriaDlg::set(const SearchCriteria& c) {
    m_pSubject->setText(QString::fromStdWString(c.m_sSubject));
    m_pBody->setText(QString::fromStdWString(c.m_sBody));
    m_pFrom->setText(QString::fromStdWString(c.m_sFrom));
    m_pTo->setText(QString::fromStdWString(c.m_sTo));
    m_pCc->setText(QString::fromStdWString(c.m_sCc));
    m_pBcc->setText(QString::fromStdWString(c.m_sBcc));
    m_pFileName->setText(QString::fromStdWString(c.m_sFileName));
    m_pAttachment->setText(QString::fromStdWString(c.m_sAttachment));
    m_dtAfter = c.m_dtSentAfter;
    m_dtBefore = c.m_dtSentBefore;
    m_pAfterDate->setDate(dayOf(m_dtAfter));
    m_pBeforeDate->setDate(dayOf(m_dtBefore));
    m_pSentAfter->setChecked(c.m_bSentAfter);
    m_pSentBefore->setChecked(c.m_bSentBefore);
    OnBnClickedCheckAfter();
    OnBnClickedCheckBefore();
}

void CSearchCriteriaDlg::clearCriteria() {
    SearchCriteria c = get();
    c.clear();
    set(c);
}

void CSearchCriteriaDlg::OnBnClickedCheckAfter() {
    m_pAfterDate->setEnabled(m_pSentAfter->isChecked());
}

void CSearchCriteriaDlg::OnBnClickedCheckBefore() {
    m_pBeforeDate->setEnabled(m_pSentBefore->isChecked());
}

#pragma once
// The "More Choices" tab: what to look for. The controls are bound to a
// plain SearchCriteria value: get() reads them, set() shows a value. Each
// sent-date picker is enabled only while its check box is ticked.

#include "mail/SearchCriteria.h"

#include <QWidget>

class QCheckBox;
class QDateEdit;
class QLineEdit;

class CSearchCriteriaDlg : public QWidget {
    Q_OBJECT
public:
    /// Both dates start as the moment the pane is built.
    explicit CSearchCriteriaDlg(QWidget* parent = nullptr);

    /// The criteria as the controls show them.
    Kerf::QuireLib::SearchCriteria get() const;
    void set(const Kerf::QuireLib::SearchCriteria& criteria);
    /// Empties the texts and switches both dates off; the dates themselves stay.
    void clearCriteria();

    QLineEdit& subjectEdit() { return *m_pSubject; }
    QLineEdit& bodyEdit() { return *m_pBody; }
    QLineEdit& fromEdit() { return *m_pFrom; }
    QLineEdit& toEdit() { return *m_pTo; }
    QLineEdit& ccEdit() { return *m_pCc; }
    QLineEdit& bccEdit() { return *m_pBcc; }
    QLineEdit& fileNameEdit() { return *m_pFileName; }
    QLineEdit& attachmentEdit() { return *m_pAttachment; }
    QCheckBox& sentAfterCheck() { return *m_pSentAfter; }
    QCheckBox& sentBeforeCheck() { return *m_pSentBefore; }
    QDateEdit& sentAfterDate() { return *m_pAfterDate; }
    QDateEdit& sentBeforeDate() { return *m_pBeforeDate; }

private:
    void OnBnClickedCheckAfter();
    void OnBnClickedCheckBefore();

    QLineEdit* m_pSubject;
    QLineEdit* m_pBody;
    QLineEdit* m_pFrom;
    QLineEdit* m_pTo;
    QLineEdit* m_pCc;
    QLineEdit* m_pBcc;
    QCheckBox* m_pSentAfter;
    QCheckBox* m_pSentBefore;
    QDateEdit* m_pAfterDate;
    QDateEdit* m_pBeforeDate;
    QLineEdit* m_pFileName;
    QLineEdit* m_pAttachment;
    // The pickers show days; the time of day is kept here.
    Kerf::DateTime m_dtAfter;
    Kerf::DateTime m_dtBefore;
};

#include "app/SearchLocation.h"

#include "app/TranslateWindow.h"
#include "stores/PathMapping.h"
#include "stores/SettingsLayers.h"
#include "stores/UserSettings.h"
#include "support/Assert.h"
#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <QButtonGroup>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>

using Kerf::QuireLib::CMsgStoresSortListCtrl;
using Kerf::QuireLib::CSortListCtrl;

namespace {

QString settingsKey(const char* value) {
    return QLatin1String(CSearchLocation::kSettingsGroup) + QLatin1Char('/') + QLatin1String(value);
}

} // namespace

CSearchLocation::CSearchLocation(QWidget* parent)
    : QWidget(parent), m_ctlLocationsList(new CMsgStoresSortListCtrl), m_pFilterEdit(new QLineEdit),
      m_pFolderEdit(new QLineEdit), m_pBrowseButton(new QPushButton(QStringLiteral("&Browse..."))),
      m_pLocationsRadio(new QRadioButton(QStringLiteral("Search filin&g locations"))),
      m_pFolderRadio(new QRadioButton(QStringLiteral("Search f&older"))),
      m_pModeGroup(new QButtonGroup(this)), m_pKeywordsEdit(new QLineEdit),
      m_pRawQueryEdit(new QLineEdit), m_pListOrHint(new QStackedWidget),
      m_pNoLocationsText(new QLabel),
      m_pSearchAFolder(new QPushButton(QStringLiteral("Search a fol&der..."))) {
    KERF_TRACE_ENTRY("CSearchLocation::OnInitDialog");
    ReadStoredChoice();

    m_pFilterEdit->setObjectName(QStringLiteral("locationFilter"));
    m_pFolderEdit->setObjectName(QStringLiteral("searchFolder"));
    m_pBrowseButton->setObjectName(QStringLiteral("browse"));
    m_pBrowseButton->setAutoDefault(false);
    m_pLocationsRadio->setObjectName(QStringLiteral("searchLocations"));
    m_pFolderRadio->setObjectName(QStringLiteral("searchFolderMode"));
    m_pModeGroup->addButton(m_pLocationsRadio, 0);
    m_pModeGroup->addButton(m_pFolderRadio, 1);

    m_pKeywordsEdit->setObjectName(QStringLiteral("searchFor"));
    m_pKeywordsEdit->setPlaceholderText(
        QStringLiteral("Words to find in any field; \"quotes\" keep a phrase together"));
    m_pKeywordsEdit->setClearButtonEnabled(true);
    auto* keywordsLabel = new QLabel(QStringLiteral("Se&arch for:"));
    keywordsLabel->setBuddy(m_pKeywordsEdit);
    auto* search = new QHBoxLayout;
    search->addWidget(keywordsLabel);
    search->addWidget(m_pKeywordsEdit, 1);

    auto* filterLabel = new QLabel(QStringLiteral("Location fil&ter:"));
    filterLabel->setBuddy(m_pFilterEdit);
    auto* top = new QHBoxLayout;
    top->addWidget(m_pLocationsRadio);
    top->addStretch(1);
    top->addWidget(filterLabel);
    top->addWidget(m_pFilterEdit, 1);

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_pFolderRadio);
    bottom->addWidget(m_pFolderEdit, 1);
    bottom->addWidget(m_pBrowseButton);

    // Bound but never shown: the raw-query text.
    auto* hidden = new QHBoxLayout;
    auto* rawQueryLabel = new QLabel(QStringLiteral("_Raw Query"));
    for (QWidget* w :
         {static_cast<QWidget*>(rawQueryLabel), static_cast<QWidget*>(m_pRawQueryEdit)}) {
        hidden->addWidget(w);
        w->hide();
    }

    // In the list's place while the store list has no location at all.
    m_pNoLocationsText->setObjectName(QStringLiteral("noLocationsText"));
    m_pNoLocationsText->setTextFormat(Qt::PlainText);
    m_pNoLocationsText->setWordWrap(true);
    const QString product = QString::fromStdWString(Kerf::Paths::productName());
    m_pNoLocationsText->setText(
        QStringLiteral("No filing locations are listed yet. They come from %1's filing-store list: "
                       "the store database or the central filing list named in the %1 settings."
                       "\n\nMeanwhile you can search any folder of saved messages.")
            .arg(product));
    m_pSearchAFolder->setObjectName(QStringLiteral("searchAFolder"));
    m_pSearchAFolder->setAutoDefault(false);
    auto* hint = new QWidget;
    auto* hintLayout = new QVBoxLayout(hint);
    hintLayout->addStretch(1);
    hintLayout->addWidget(m_pNoLocationsText);
    hintLayout->addWidget(m_pSearchAFolder, 0, Qt::AlignLeft);
    hintLayout->addStretch(1);
    m_pListOrHint->addWidget(m_ctlLocationsList);
    m_pListOrHint->addWidget(hint);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(search);
    layout->addLayout(top);
    layout->addWidget(m_pListOrHint, 1);
    layout->addLayout(bottom);
    layout->addLayout(hidden);

    // The titles must be known before the list declares its columns.
    InitLocationListHeaders();
    m_ctlLocationsList->Initialise();
    TranslateWindow(this);
    // The sources may be slow (a database server, a share): the window shows
    // at once and the locations follow.
    m_ctlLocationsList->LoadStoreLocationsInBackground(Kerf::QuireLib::eFileSystemFolder);
    UpdateData(false);
    updateDialogItems();
    updateNoLocationsHint();

    connect(m_pModeGroup, &QButtonGroup::idClicked, this, &CSearchLocation::OnBnClickedRadio);
    connect(m_pFilterEdit, &QLineEdit::textChanged, this, &CSearchLocation::OnEnChangeLocFilter);
    connect(m_pFolderEdit, &QLineEdit::textChanged, this, [this] {
        UpdateData(true);
        emit locationsChanged();
    });
    connect(m_pBrowseButton, &QPushButton::clicked, this,
            &CSearchLocation::OnBnClickedFolderBrowse);
    connect(m_pSearchAFolder, &QPushButton::clicked, this,
            &CSearchLocation::OnBnClickedSearchAFolder);
    connect(this, &CSearchLocation::locationsChanged, this,
            &CSearchLocation::updateNoLocationsHint);
    connect(m_ctlLocationsList->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &CSearchLocation::OnLvnItemchangedSearchlocations);
    connect(m_ctlLocationsList, &QAbstractItemView::doubleClicked, this,
            &CSearchLocation::OnNMDblclkSearchlocations);
    connect(m_ctlLocationsList, &CMsgStoresSortListCtrl::locationsLoaded, this,
            &CSearchLocation::locationsChanged);
}

CSearchLocation::~CSearchLocation() {
    WriteStoredChoice();
    m_ctlLocationsList->SaveColumnInfo();
}

void CSearchLocation::ReadStoredChoice() {
    const auto settings = Kerf::QuireLib::openUserSettings();
    m_sSearchFolder = settings->value(settingsKey(kFolderValue)).toString().toStdWString();
    bool ok = false;
    m_iLocationOrFolder = settings->value(settingsKey(kModeValue), 0).toInt(&ok);
    if (!ok)
        m_iLocationOrFolder = 0;
    // Only the upper bound is checked: a negative mode is kept as it is.
    if (m_iLocationOrFolder > 1)
        m_iLocationOrFolder = 0;
}

void CSearchLocation::WriteStoredChoice() const {
    const auto settings = Kerf::QuireLib::openUserSettings();
    settings->setValue(settingsKey(kFolderValue), QString::fromStdWString(m_sSearchFolder));
    settings->setValue(settingsKey(kModeValue), m_iLocationOrFolder);
    settings->sync();
    KERF_ASSERT(settings->status() == QSettings::NoError);
}

void CSearchLocation::InitLocationListHeaders() {
    KERF_TRACE_ENTRY("CSearchLocation::InitLocationListHeaders");
    KERF_ASSERT(m_ctlLocationsList != nullptr);
    try {
        const auto settings = Kerf::QuireLib::CSettingsLayers::ForThisUser().ProductSettings();
        std::wstring value;
        if (settings.ReadPrefixedOrPlain(L"LocationPriRefAlias", value) && !value.empty())
            m_ctlLocationsList->SetPrimaryRefTitle(value);
        if (settings.ReadPrefixedOrPlain(L"LocationSecRefAlias", value) && !value.empty())
            m_ctlLocationsList->SetSecondaryRefTitle(value);
        if (settings.ReadPrefixedOrPlain(L"LocationDescAlias", value) && !value.empty())
            m_ctlLocationsList->SetDescriptionTitle(value);
    } catch (const Kerf::CExceptionBase& e) {
        // A damaged settings file leaves the default titles.
        Kerf::Trace::tracef("Exception: %s\n", Kerf::Util::toNarrow(e.getMessage()).c_str());
    }
}

void CSearchLocation::UpdateData(bool bSaveAndValidate) {
    if (bSaveAndValidate) {
        m_sFilterText = m_pFilterEdit->text().toStdWString();
        m_sSearchFolder = m_pFolderEdit->text().toStdWString();
        m_iLocationOrFolder =
            m_pModeGroup->checkedId() == -1 ? m_iLocationOrFolder : m_pModeGroup->checkedId();
        m_sKeywords = m_pKeywordsEdit->text().toStdWString();
        m_sRawQuery = m_pRawQueryEdit->text().toStdWString();
        return;
    }
    const QSignalBlocker blockFilter(m_pFilterEdit);
    const QSignalBlocker blockFolder(m_pFolderEdit);
    m_pFilterEdit->setText(QString::fromStdWString(m_sFilterText));
    m_pFolderEdit->setText(QString::fromStdWString(m_sSearchFolder));
    m_pKeywordsEdit->setText(QString::fromStdWString(m_sKeywords));
    m_pRawQueryEdit->setText(QString::fromStdWString(m_sRawQuery));
    if (QAbstractButton* button = m_pModeGroup->button(m_iLocationOrFolder)) {
        button->setChecked(true);
    } else {
        // A stored mode outside 0..1: neither choice is ticked.
        m_pModeGroup->setExclusive(false);
        m_pLocationsRadio->setChecked(false);
        m_pFolderRadio->setChecked(false);
        m_pModeGroup->setExclusive(true);
    }
}

void CSearchLocation::updateDialogItems() {
    const bool locations = m_iLocationOrFolder == 0;
    const bool folder = m_iLocationOrFolder == 1;
    m_ctlLocationsList->setEnabled(locations);
    m_pFilterEdit->setEnabled(locations);
    m_pBrowseButton->setEnabled(folder);
    m_pFolderEdit->setEnabled(folder);
}

void CSearchLocation::OnBnClickedRadio() {
    UpdateData(true);
    updateDialogItems();
    emit locationsChanged();
}

void CSearchLocation::OnEnChangeLocFilter() {
    UpdateData(true);
    m_ctlLocationsList->Filter(m_sFilterText);
    emit locationsChanged();
}

void CSearchLocation::OnBnClickedFolderBrowse() {
    UpdateData(true);
    const QString chosen = QFileDialog::getExistingDirectory(
        this, QStringLiteral("Browse for folder"), QString::fromStdWString(m_sSearchFolder));
    if (chosen.isEmpty())
        return;
    m_sSearchFolder = chosen.toStdWString();
    UpdateData(false);
    emit locationsChanged();
}

void CSearchLocation::OnBnClickedSearchAFolder() {
    m_pFolderRadio->click();
    m_pFolderEdit->setFocus(Qt::OtherFocusReason);
    OnBnClickedFolderBrowse();
}

bool CSearchLocation::IsShowingNoLocationsHint() const {
    return m_pListOrHint->currentIndex() == 1;
}

void CSearchLocation::updateNoLocationsHint() {
    // An empty list because of the filter is a list, not a missing store list.
    const bool none = m_iLocationOrFolder == 0 && !m_ctlLocationsList->IsLoading() &&
                      m_ctlLocationsList->GetItemCount() == 0 && m_pFilterEdit->text().isEmpty();
    m_pListOrHint->setCurrentIndex(none ? 1 : 0);
}

std::wstring CSearchLocation::GetLocationName(const std::wstring& path) const {
    for (const auto& [located, name] : m_vLocationNames)
        if (located == path)
            return name;
    return {};
}

std::wstring CSearchLocation::GetKeywords() const {
    return m_pKeywordsEdit->text().trimmed().toStdWString();
}

QString CSearchLocation::whyNothingToSearch() {
    if (AreSearchLocationsAvailable())
        return {};
    if (m_iLocationOrFolder == 1)
        return QStringLiteral("Type or browse for the folder to search.");
    if (m_ctlLocationsList->IsLoading())
        return QStringLiteral("The filing locations are still being read.");
    if (IsShowingNoLocationsHint())
        return QStringLiteral("No filing locations are listed: use \"Search a folder...\" "
                              "to search a folder instead.");
    if (!m_vUnreachable.empty())
        return QStringLiteral("The chosen locations cannot be reached from this computer.");
    return QStringLiteral("Choose one or more filing locations in the list.");
}

void CSearchLocation::OnLvnItemchangedSearchlocations() {
    CMsgStoresSortListCtrl& list = *m_ctlLocationsList;
    const int count = list.GetItemCount();
    int row = -1;
    if (count == 1) {
        row = 0; // a lone location counts, selected or not
    } else if (count > 1) {
        const std::vector<int> selected = list.GetSelectedItems();
        if (!selected.empty())
            row = selected.front();
    }
    m_sSearchFolder =
        row == -1 ? std::wstring() : list.GetItemText(row, CMsgStoresSortListCtrl::kLocationColumn);
    UpdateData(false);
    emit locationsChanged();
}

void CSearchLocation::OnNMDblclkSearchlocations(const QModelIndex& index) {
    if (index.isValid())
        emit searchAgainRequested();
}

std::vector<std::wstring> CSearchLocation::GetSelectedListItems(const CSortListCtrl& list,
                                                                int column) {
    const std::vector<int> rows = list.GetSelectedItems();
    std::vector<std::wstring> items;
    items.reserve(rows.size());
    for (const int row : rows)
        items.push_back(list.GetItemText(row, column));
    return items;
}

bool CSearchLocation::AreSearchLocationsAvailable() {
    // One rule for what counts as chosen (a lone location, the selection or
    // the folder text), the one the search itself uses.
    return !GetSearchLocations().empty();
}

std::vector<std::wstring> CSearchLocation::GetSearchLocations() {
    m_vUnreachable.clear();
    m_vLocationNames.clear();
    std::vector<std::wstring> locations;
    // A chosen location that is not on this computer is never searched as
    // an empty folder: it is set aside with its reason.
    const auto take = [&](const Kerf::QuireLib::LocatedPath& place, const std::wstring& text) {
        if (place.IsReachable())
            locations.push_back(place.sPath);
        else
            m_vUnreachable.push_back(text + L" (" + place.sReason + L")");
    };
    if (m_iLocationOrFolder == 0) {
        std::vector<int> rows = m_ctlLocationsList->GetSelectedItems();
        if (rows.empty() && m_ctlLocationsList->GetItemCount() == 1)
            rows.push_back(0); // a lone location counts, selected or not
        for (const int row : rows) {
            const Kerf::QuireLib::LocatedPath place = m_ctlLocationsList->LocateRow(row);
            take(place,
                 m_ctlLocationsList->GetItemText(row, CMsgStoresSortListCtrl::kLocationColumn));
            m_vLocationNames.emplace_back(
                place.sPath, m_ctlLocationsList->GetItemText(
                                 row, Kerf::QuireLib::CMsgStoresListModel::eColPrimaryRef));
        }
    } else {
        UpdateData(true);
        // A folder typed the Windows way is mapped as a store-list path is;
        // anything else is searched as it stands.
        if (Kerf::QuireLib::locationKindOf(m_sSearchFolder) == Kerf::QuireLib::eFileSystemFolder &&
            !m_sSearchFolder.starts_with(L"/"))
            take(Kerf::QuireLib::CPathMapper::ForThisUser().Map(m_sSearchFolder), m_sSearchFolder);
        else if (!m_sSearchFolder.empty())
            locations.push_back(m_sSearchFolder);
    }
    return locations;
}

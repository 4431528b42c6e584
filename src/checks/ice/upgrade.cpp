// QVICE19: the properties that upgrades rest on, the Upgrade table row by
// row, and the one accepted pattern of downgrade prevention: a detect-only
// Upgrade row for this UpgradeCode from this ProductVersion up, whose action
// property is the whole condition of a type 19 custom action scheduled
// between FindRelatedProducts and CostInitialize.
#include "checks/ice/upgrade.h"

#include <climits>
#include <cwchar>
#include <set>

#include "database/views.h"

namespace {

const _stringx<> kProductName = L"ProductName";
const _stringx<> kManufacturer = L"Manufacturer";
const _stringx<> kProductCode = L"ProductCode";
const _stringx<> kUpgradeCode = L"UpgradeCode";
const _stringx<> kProductLanguage = L"ProductLanguage";
const _stringx<> kProductVersion = L"ProductVersion";
const _stringx<> kSecureCustomProperties = L"SecureCustomProperties";

const _stringx<> kManufacturerDefaults[] = {L"Your Company Name", L"Ihr Firmenname", L"\u4F1A\u793E\u540D"};
const _stringx<> kProductNameDefaults[] = {L"My Project Name-", L"Name von eigenem Projekt-"};

const _stringx<> kFindRelatedProducts = L"FindRelatedProducts";
const _stringx<> kCostInitialize = L"CostInitialize";

const _stringx<> kUpgradeTable = L"Upgrade";

bool BeginsWith(const _stringx<>& text, const _stringx<>& prefix)
{
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

// Pieces of text between separators, empty ones included. With dropFinal a
// final separator opens no piece.
std::vector<_stringx<>> Split(const _stringx<>& text, wchar_t separator, bool dropFinal)
{
    std::vector<_stringx<>> pieces;
    size_t start = 0;
    for (;;) {
        const size_t at = text.find(separator, start);
        if (at == _stringx<>::npos) {
            if (!(dropFinal && start > 0 && start == text.size()))
                pieces.push_back(text.substr(start));
            return pieces;
        }
        pieces.push_back(text.substr(start, at - start));
        start = at + 1;
    }
}

}  // namespace

bool CQVIce19::ValidGuidText(const _stringx<>& text)
{
    if (text.size() != 38 || text.find(L'{') != 0 || text.rfind(L'}') != 37)
        return false;
    const _stringx<> inner = text.substr(1, 36);
    if (inner.find_first_not_of(L"0123456789ABCDEF-") != _stringx<>::npos)
        return false;
    const std::vector<_stringx<>> pieces = Split(inner, L'-', false);
    static const size_t lengths[] = {8, 4, 4, 4, 12};
    if (pieces.size() != 5)
        return false;
    for (size_t i = 0; i < 5; ++i) {
        if (pieces[i].size() != lengths[i])
            return false;
    }
    return true;
}

bool CQVIce19::ValidVersionText(const _stringx<>& text)
{
    return Split(text, L'.', true).size() == 3 && text.find_first_not_of(L".0123456789") == _stringx<>::npos;
}

bool CQVIce19::NumericLangIdText(const _stringx<>& text)
{
    // Converted as a 32-bit long is, saturating at its limits, then printed.
    long long value = std::wcstoll(text.c_str(), nullptr, 10);
    if (value > LONG_MAX || value > INT32_MAX)
        value = INT32_MAX;
    if (value < INT32_MIN)
        value = INT32_MIN;
    return qv::Format(L"%d", static_cast<int>(value)) == text;
}

CQVIce19::CQVIce19(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce19::~CQVIce19() = default;
_stringx<> CQVIce19::GetName() const { return Name; }
_stringx<> CQVIce19::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVIce19::Validate()
{
    ValidateProperties();
    ValidateUpgradeTable();
}

void CQVIce19::ReportProperty(UINT id, const _stringx<>& name, const _stringx<>& value)
{
    m_location.clear();
    m_location.push_back(L"Property");
    m_location.push_back(L"Value");
    m_location.push_back(name);
    ReportMessage(id, name, value, 1);
}

void CQVIce19::ValidateProperties()
{
    const _stringx<> manufacturer = GetPropertyTableValue(kManufacturer);
    const _stringx<> productCode = GetPropertyTableValue(kProductCode);
    const _stringx<> productLanguage = GetPropertyTableValue(kProductLanguage);
    const _stringx<> productName = GetPropertyTableValue(kProductName);
    const _stringx<> productVersion = GetPropertyTableValue(kProductVersion);
    const _stringx<> upgradeCode = GetPropertyTableValue(kUpgradeCode);

    // Each test stands alone: one property can fire several.
    if (productName.empty())
        ReportProperty(153, kProductName, productName);
    if (manufacturer.empty())
        ReportProperty(153, kManufacturer, manufacturer);
    for (const _stringx<>& value : kManufacturerDefaults) {
        if (BeginsWith(manufacturer, value))
            ReportProperty(148, kManufacturer, manufacturer);
    }
    if (!ValidGuidText(productCode))
        ReportProperty(149, kProductCode, productCode);
    if (!ValidGuidText(upgradeCode))
        ReportProperty(149, kUpgradeCode, upgradeCode);
    if (!NumericLangIdText(productLanguage))
        ReportProperty(150, kProductLanguage, productLanguage);
    for (const _stringx<>& value : kProductNameDefaults) {
        if (BeginsWith(productName, value))
            ReportProperty(148, kProductName, productName);
    }
    if (!ValidVersionText(productVersion))
        ReportProperty(151, kProductVersion, productVersion);
}

void CQVIce19::ValidateUpgradeTable()
{
    if (!TablePresent(m_database, kUpgradeTable)) {
        SetTableLocation();
        ReportMessage(152, kUpgradeTable, 1);
        return;
    }

    const _stringx<> upgradeCode = GetPropertyTableValue(kUpgradeCode);
    const _stringx<> productVersion = GetPropertyTableValue(kProductVersion);
    bool detected = false;

    ForEachRow(
        m_database,
        [&](MSIHANDLE row) {
            const _stringx<> code = RecordFieldString(row, 1);
            const _stringx<> versionMin = RecordFieldString(row, 2);
            const _stringx<> versionMax = RecordFieldString(row, 3);
            const int attributes = MsiRecordGetInteger(row, 5);

            if (!ValidGuidText(code)) {
                m_location.clear();
                m_location.push_back(kUpgradeTable);
                m_location.push_back(L"UpgradeCode");
                m_location.push_back(code);
                ReportMessage(156, code, L"UpgradeCode", kUpgradeTable, 1);
            }
            if (code.empty()) {
                SetRowLocation(row, L"UpgradeCode");
                // The table name comes first on purpose, though the text then
                // reads the other way about.
                ReportMessage(154, kUpgradeTable, L"UpgradeCode", 1);
            }
            if (!versionMin.empty() && !ValidVersionText(versionMin)) {
                SetRowLocation(row, L"VersionMin");
                ReportMessage(157, versionMin, L"VersionMin", kUpgradeTable, 1);
            }
            if (!versionMax.empty() && !ValidVersionText(versionMax)) {
                SetRowLocation(row, L"VersionMax");
                ReportMessage(157, versionMax, L"VersionMax", kUpgradeTable, 1);
            }

            // The detection row: this UpgradeCode from this version up, detect only.
            if (detected || code != upgradeCode || versionMin != productVersion || !versionMax.empty() ||
                attributes != 2)
                return;
            const _stringx<> property = RecordFieldString(row, 7);
            detected = DowngradeActionScheduled(property);
            if (!detected)
                return;
            const _stringx<> secure = GetPropertyTableValue(kSecureCustomProperties);
            for (const _stringx<>& piece : Split(secure, L';', false)) {
                if (piece == property)
                    return;
            }
            m_location.clear();
            m_location.push_back(L"Property");
            m_location.push_back(L"Value");
            m_location.push_back(kSecureCustomProperties);
            ReportMessage(161, property, 1);
        },
        L"SELECT * FROM `%s`", kUpgradeTable);

    if (!detected) {
        SetTableLocation();
        ReportMessage(155, upgradeCode, 1);
    }
}

bool CQVIce19::DowngradeActionScheduled(const _stringx<>& property)
{
    if (!TablePresent(m_database, L"CustomAction") || !TablePresent(m_database, L"InstallExecuteSequence"))
        return false;

    std::set<_stringx<>> type19;
    ForEachRow(
        m_database,
        [&](MSIHANDLE row) {
            if ((MsiRecordGetInteger(row, 2) & 0x3F) == 0x13)
                type19.insert(RecordFieldString(row, 1));
        },
        L"SELECT * FROM `%s`", L"CustomAction");

    std::set<int> candidates;
    int findRelated = -1;
    int costInitialize = -1;
    ForEachRow(
        m_database,
        [&](MSIHANDLE row) {
            const _stringx<> action = RecordFieldString(row, 1);
            const int sequence = MsiRecordGetInteger(row, 3);
            if (RecordFieldString(row, 2) == property && type19.count(action))
                candidates.insert(sequence);
            else if (action == kFindRelatedProducts)
                findRelated = sequence;
            else if (action == kCostInitialize)
                costInitialize = sequence;
        },
        L"SELECT * FROM `%s`", L"InstallExecuteSequence");

    for (int s : candidates) {
        if (findRelated < s && s < costInitialize)
            return true;
    }
    return false;
}

void CQVIce19::SetRowLocation(MSIHANDLE row, const _stringx<>& column)
{
    m_location.clear();
    m_location.push_back(kUpgradeTable);
    m_location.push_back(column);
    for (UINT field = 1; field <= 4; ++field)
        m_location.push_back(RecordFieldString(row, field));
    m_location.push_back(qv::Format(L"%d", MsiRecordGetInteger(row, 5)));
}

void CQVIce19::SetTableLocation()
{
    m_location.clear();
    m_location.push_back(kUpgradeTable);
    m_location.push_back(L"");
    m_location.push_back(L"");
}

QV_CHECK_EXPORT(QVICE19, CQVIce19)

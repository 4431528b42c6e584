#include "checks/bp/meta_feature.h"

#include "database/views.h"

CQVBP01::CQVBP01(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP01::~CQVBP01() = default;
_stringx<> CQVBP01::GetName() const { return Name; }
_stringx<> CQVBP01::GetDescription() const { return LoadMessage(DescriptionId); }

// A feature named ALL, in any case, clashes with the installer's meta-feature
// ALL (as in ADDLOCAL=ALL).
void CQVBP01::Validate()
{
    if (!TablePresent(m_database, L"Feature"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            const _stringx<qv::char_traitsi> feature = RecordFieldString(record, 1);
            if (feature.size() == 3 && feature == L"ALL") {
                m_location.clear();
                m_location.push_back(L"Feature");
                m_location.push_back(L"Feature");
                m_location.push_back(feature);
                ReportMessage(165, 1);
            }
        },
        L"SELECT * FROM `%s`", L"Feature");
}

QV_CHECK_EXPORT(QVBP01, CQVBP01)

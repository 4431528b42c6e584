#include "framework/vice_base.h"

#include "database/views.h"

CQVViceBase::CQVViceBase(const _stringx<>& name, MSIHANDLE hInstall) : CQVIceBase(hInstall), Severity(1)
{
    // The package may set the message type of this check's findings through
    // its own table; without a row for the check it stays an error.
    if (TableEmptyOrAbsent(m_database, L"_QvViceSeverity"))
        return;
    qv::msi_handle view;
    qv::msi_handle record;
    // The name goes into the query as it is; the table is read by position.
    if (TryFetchFirst(view.ref(), m_database, record.ref(), L"SELECT * FROM `_QvViceSeverity` WHERE `Vice` = '%s'",
                      name) != ERROR_SUCCESS)
        return;
    const int value = MsiRecordGetInteger(record, 2);
    // 0 cannot select a type of its own; a null (the installer's null
    // integer) is not 0 and goes out as it stands.
    Severity = value == 0 ? 1 : value;
}

CQVViceBase::~CQVViceBase() = default;

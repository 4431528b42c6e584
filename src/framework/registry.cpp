#include "framework/registry.h"

#include <iterator>

#include "checks/bp/component_file.h"
#include "checks/bp/meta_feature.h"
#include "checks/bp/naming_dialog.h"
#include "checks/bp/registry_key.h"
#include "checks/bp/sequence_property.h"
#include "checks/ice/component_authoring.h"
#include "checks/ice/disallowed_action.h"
#include "checks/ice/executable_content.h"
#include "checks/ice/location_custom_action.h"
#include "checks/ice/privilege.h"
#include "checks/ice/protected_resource.h"
#include "checks/ice/schema_reserved.h"
#include "checks/ice/startup_permission_folder.h"
#include "checks/ice/upgrade.h"
#include "checks/uwp/com_file_type.h"
#include "checks/uwp/dotnet_target.h"
#include "checks/uwp/executable_content.h"
#include "checks/uwp/shared_vice.h"
#include "checks/uwp/table_shortcut.h"
#include "checks/vice/file_pattern.h"
#include "checks/vice/iis_driver_complus.h"
#include "checks/vice/package_wide.h"
#include "checks/vice/registry_derived.h"

namespace qv {
namespace {

#define QV_EXPORT_ROW(Export, Family, Class) {L## #Export, Family, #Class, Class::DescriptionId, &Export}
// QVICE13 to QVICE15 enter QVBP17 to QVBP19 and run that class unchanged.
#define QV_FORWARD_ROW(Export, Class, Target) {L## #Export, "ice", #Class, Class::DescriptionId, &Export}

const CheckExport kExports[] = {
    QV_EXPORT_ROW(QVBP01, "bp", CQVBP01),
    QV_EXPORT_ROW(QVBP02, "bp", CQVBP02),
    QV_EXPORT_ROW(QVBP03, "bp", CQVBP03),
    QV_EXPORT_ROW(QVBP04, "bp", CQVBP04),
    QV_EXPORT_ROW(QVBP05, "bp", CQVBP05),
    QV_EXPORT_ROW(QVBP06, "bp", CQVBP06),
    QV_EXPORT_ROW(QVBP07, "bp", CQVBP07),
    QV_EXPORT_ROW(QVBP08, "bp", CQVBP08),
    QV_EXPORT_ROW(QVBP09, "bp", CQVBP09),
    QV_EXPORT_ROW(QVBP10, "bp", CQVBP10),
    QV_EXPORT_ROW(QVBP11, "bp", CQVBP11),
    QV_EXPORT_ROW(QVBP12, "bp", CQVBP12),
    QV_EXPORT_ROW(QVBP13, "bp", CQVBP13),
    QV_EXPORT_ROW(QVBP14, "bp", CQVBP14),
    QV_EXPORT_ROW(QVBP15, "bp", CQVBP15),
    QV_EXPORT_ROW(QVBP16, "bp", CQVBP16),
    QV_EXPORT_ROW(QVBP17, "bp", CQVBP17),
    QV_EXPORT_ROW(QVBP18, "bp", CQVBP18),
    QV_EXPORT_ROW(QVBP19, "bp", CQVBP19),
    QV_EXPORT_ROW(QVBP20, "bp", CQVBP20),
    QV_EXPORT_ROW(QVICE01, "ice", CQVIce01),
    QV_EXPORT_ROW(QVICE02, "ice", CQVIce02),
    QV_EXPORT_ROW(QVICE03, "ice", CQVIce03),
    QV_EXPORT_ROW(QVICE04, "ice", CQVIce04),
    QV_EXPORT_ROW(QVICE05, "ice", CQVIce05),
    QV_EXPORT_ROW(QVICE06, "ice", CQVIce06),
    QV_EXPORT_ROW(QVICE07, "ice", CQVIce07),
    QV_EXPORT_ROW(QVICE08, "ice", CQVIce08),
    QV_EXPORT_ROW(QVICE09, "ice", CQVIce09),
    QV_EXPORT_ROW(QVICE10, "ice", CQVIce10),
    QV_EXPORT_ROW(QVICE11, "ice", CQVIce11),
    QV_EXPORT_ROW(QVICE12, "ice", CQVIce12),
    QV_FORWARD_ROW(QVICE13, CQVBP17, QVBP17),
    QV_FORWARD_ROW(QVICE14, CQVBP18, QVBP18),
    QV_FORWARD_ROW(QVICE15, CQVBP19, QVBP19),
    QV_EXPORT_ROW(QVICE16, "ice", CQVIce16),
    QV_EXPORT_ROW(QVICE17, "ice", CQVIce17),
    QV_EXPORT_ROW(QVICE18, "ice", CQVIce18),
    QV_EXPORT_ROW(QVICE19, "ice", CQVIce19),
    QV_EXPORT_ROW(QVICE20, "ice", CQVIce20),
    QV_EXPORT_ROW(QVICE21, "ice", CQVIce21),
    QV_EXPORT_ROW(QVICE22, "ice", CQVIce22),
    QV_EXPORT_ROW(QVICE23, "ice", CQVIce23),
    QV_EXPORT_ROW(QVICE24, "ice", CQVIce24),
    QV_EXPORT_ROW(QVICE25, "ice", CQVIce25),
    QV_EXPORT_ROW(QVICE26, "ice", CQVIce26),
    QV_EXPORT_ROW(QVVICE01, "vice", CQVVice01),
    QV_EXPORT_ROW(QVVICE02, "vice", CQVVice02),
    QV_EXPORT_ROW(QVVICE03, "vice", CQVVice03),
    QV_EXPORT_ROW(QVVICE04, "vice", CQVVice04),
    QV_EXPORT_ROW(QVVICE05, "vice", CQVVice05),
    QV_EXPORT_ROW(QVVICE06, "vice", CQVVice06),
    QV_EXPORT_ROW(QVVICE07, "vice", CQVVice07),
    QV_EXPORT_ROW(QVVICE08, "vice", CQVVice08),
    QV_EXPORT_ROW(QVVICE09, "vice", CQVVice09),
    QV_EXPORT_ROW(QVVICE10, "vice", CQVVice10),
    QV_EXPORT_ROW(QVVICE11, "vice", CQVVice11),
    QV_EXPORT_ROW(QVVICE12, "vice", CQVVice12),
    QV_EXPORT_ROW(QVVICE13, "vice", CQVVice13),
    QV_EXPORT_ROW(QVVICE14, "vice", CQVVice14),
    QV_EXPORT_ROW(QVVICE15, "vice", CQVVice15),
    QV_EXPORT_ROW(QVVICE16, "vice", CQVVice16),
    QV_EXPORT_ROW(QVVICE17, "vice", CQVVice17),
    QV_EXPORT_ROW(QVVICE18, "vice", CQVVice18),
    QV_EXPORT_ROW(QVVICE19, "vice", CQVVice19),
    QV_EXPORT_ROW(QVUWP01, "uwp", CQVAppx01),
    QV_EXPORT_ROW(QVUWP02, "uwp", CQVAppx02),
    QV_EXPORT_ROW(QVUWP03, "uwp", CQVAppx03),
    QV_EXPORT_ROW(QVUWP04, "uwp", CQVAppx04),
    QV_EXPORT_ROW(QVUWP05, "uwp", CQVAppx05),
    QV_EXPORT_ROW(QVUWP06, "uwp", CQVAppx06),
    QV_EXPORT_ROW(QVUWP07, "uwp", CQVAppx07),
    QV_EXPORT_ROW(QVUWP08, "uwp", CQVAppx08),
    QV_EXPORT_ROW(QVUWP09, "uwp", CQVAppx09),
    QV_EXPORT_ROW(QVUWP10, "uwp", CQVAppx10),
    QV_EXPORT_ROW(QVUWP11, "uwp", CQVAppx11),
    QV_EXPORT_ROW(QVUWP12, "uwp", CQVAppx12),
    QV_EXPORT_ROW(QVUWP13, "uwp", CQVAppx13),
    QV_EXPORT_ROW(QVUWP14, "uwp", CQVAppx14),
    QV_EXPORT_ROW(QVUWP15, "uwp", CQVAppx15),
    QV_EXPORT_ROW(QVUWP16, "uwp", CQVAppx16),
    QV_EXPORT_ROW(QVUWP17, "uwp", CQVAppx17),
    QV_EXPORT_ROW(QVUWP18, "uwp", CQVAppx18),
    QV_EXPORT_ROW(QVUWP19, "uwp", CQVAppx19),
    QV_EXPORT_ROW(QVUWP20, "uwp", CQVAppx20),
};

}  // namespace

std::span<const CheckExport> AllExports() noexcept { return kExports; }

const CheckExport* FindExport(std::wstring_view name) noexcept
{
    for (const CheckExport& entry : kExports) {
        if (name == entry.name)
            return &entry;
    }
    return nullptr;
}

}  // namespace qv

// .NET target checks: assemblies built for .NET Framework, which Nano Server
// does not have, and assemblies that cannot run on the latest .NET Framework.
#include "checks/uwp/dotnet_target.h"

#include <memory>

#include "inspect/content_inspector.h"

namespace {

constexpr const wchar_t* kTargetFramework = L"System.Runtime.Versioning.TargetFrameworkAttribute";

// The two inventories of QVUWP13, built at first use and kept while the
// library stays loaded: the executables, and the configuration files asked
// about once per assembly.
std::unique_ptr<ContentInspector>& Executables()
{
    static std::unique_ptr<ContentInspector> inspector;
    return inspector;
}
std::unique_ptr<ContentInspector>& ConfigFiles()
{
    static std::unique_ptr<ContentInspector> inspector;
    return inspector;
}

// Lends the static inspectors to the running check, and takes them back on
// every way out, so that none keeps a check that is gone.
class OwnerScope {
public:
    explicit OwnerScope(CQVIceBase* owner)
    {
        for (auto* inspector : {&Executables(), &ConfigFiles()}) {
            if (!*inspector)
                *inspector = std::make_unique<ContentInspector>(owner);
            (*inspector)->SetOwner(owner);
        }
    }
    ~OwnerScope()
    {
        Executables()->SetOwner(nullptr);
        ConfigFiles()->SetOwner(nullptr);
    }
    OwnerScope(const OwnerScope&) = delete;
    OwnerScope& operator=(const OwnerScope&) = delete;
};

bool StartsWith(const _stringx<>& text, const wchar_t* prefix)
{
    return text.view().starts_with(prefix);
}

}  // namespace

CQVAppx12::CQVAppx12(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx12::~CQVAppx12() = default;
_stringx<> CQVAppx12::GetName() const { return Name; }
_stringx<> CQVAppx12::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx12::Validate()
{
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kExecutableExtension)) {
        _stringx<> text;
        if (!file->GetCustomAttribute(kTargetFramework, text))
            continue;
        _stringx<> target;
        for (wchar_t c : text)
            if (c != L'\x0001')
                target.push_back(c);
        if (target.empty()) {
            m_location = {L"File", L"File", file->GetKey()};
            ReportMessage(286, file->GetKey(), file->GetComponent(), Severity);
        } else if (!StartsWith(target, L".NETCoreApp,") && !StartsWith(target, L".NETStandard,")) {
            m_location = {L"File", L"File", file->GetKey()};
            ReportMessage(287, file->GetKey(), file->GetComponent(), target, Severity);
        }
    }
}
QV_CHECK_EXPORT(QVUWP12, CQVAppx12)

CQVAppx13::CQVAppx13(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx13::~CQVAppx13() = default;
_stringx<> CQVAppx13::GetName() const { return Name; }
_stringx<> CQVAppx13::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVAppx13::ResetInspectors()
{
    Executables().reset();
    ConfigFiles().reset();
}

bool CQVAppx13::ConfigOptsIntoVersion4(const PackageFile& assembly)
{
    _stringx<> expected = assembly.GetTargetPath();
    expected += L".config";
    for (const auto& [owned, config] : ConfigFiles()->GetFiles(kConfigExtension)) {
        // The comparison of _wcsicmp: ASCII letters without regard to case.
        if (NoCaseString(config->GetTargetPath().c_str()) != NoCaseString(expected.c_str()))
            continue;
        const _stringx<> runtimes = config->GetSupportedRuntimes();
        for (size_t start = 0; start <= runtimes.size();) {
            size_t comma = runtimes.find(L',', start);
            if (comma == _stringx<>::npos)
                comma = runtimes.size();
            if (StartsWith(runtimes.substr(start, comma - start), L"v4."))
                return true;
            start = comma + 1;
        }
    }
    return false;
}

void CQVAppx13::Validate()
{
    const OwnerScope scope(this);
    for (const auto& [owned, file] : Executables()->GetFiles(kExecutableExtension)) {
        _stringx<> version;
        if (!file->GetClrVersion(version))
            continue;
        if (NoCaseString(version.c_str()).find(L"v4.") == 0)
            continue;
        if (ConfigOptsIntoVersion4(*file))
            continue;
        m_location = {L"File", L"File", file->GetKey()};
        ReportMessage(289, file->GetKey(), file->GetComponent(), Severity);
    }
}
QV_CHECK_EXPORT(QVUWP13, CQVAppx13)

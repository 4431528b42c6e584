// PackageFile::GetManifestPath: the application manifest of a delivered
// file as a temporary file of its own, from the module's resource or from
// the "manifest.xml" entry of a delivered cabinet.
#include <string>

#include "framework/check_base.h"
#include "inspect/cabinet.h"
#include "inspect/content_inspector.h"
#include "inspect/file.h"
#include "inspect/manifest_resource.h"
#include "inspect/temporary.h"

namespace {

enum class ManifestRoute { None, Resource, Cabinet };

ManifestRoute RouteOf(const _stringx<>& longName)
{
    const _stringx<> extension = FileNameExtension(longName);
    const NoCaseString ext(extension.c_str(), extension.size());
    for (const wchar_t* module : {L".EXE", L".DLL", L".OCX", L".SYS", L".SCR", L".DRV", L".CPL"})
        if (ext == module)
            return ManifestRoute::Resource;
    if (ext == L".CAB")
        return ManifestRoute::Cabinet;
    return ManifestRoute::None;
}

using qv::mscab::Narrow;

// The "manifest.xml" entry of the cabinet at path. As with every
// extraction, a cabinet without that entry still succeeds, and no file
// stands at target then.
bool ExtractCabinetManifest(const _stringx<>& path, const _stringx<>& target)
{
    const size_t slash = path.rfind(L'\\');
    const _stringx<> folder = slash == _stringx<>::npos ? _stringx<>() : path.substr(0, slash + 1);
    const _stringx<> name = slash == _stringx<>::npos ? path : path.substr(slash + 1);
    CabinetEngine engine;
    if (engine.Create(Narrow(name).c_str(), Narrow(folder).c_str()) != 0)
        return false;
    try {
        return engine.Copy("manifest.xml", Narrow(target).c_str(), 0) == 0;
    } catch (qv::file_exception* e) {
        delete e;
        return false;
    }
}

}  // namespace

_stringx<> PackageFile::GetManifestPath() const
{
    TemporaryPath resolved;
    const _stringx<> path = ResolveFilePath(resolved);
    if (path.empty())
        return _stringx<>();
    CQVIceBase* owner = m_inspector->Owner();
    owner->DebugLine(L"Getting manifest for file %s", m_key);

    _stringx<> target;
    try {
        target = qv::MakeUniqueTempPath();
    } catch (const qv::win32_exception&) {
        return _stringx<>();
    }

    bool extracted = false;
    switch (RouteOf(GetLongFileName())) {
    case ManifestRoute::Resource:
        extracted = qv::ExtractManifestResource(path, target);
        break;
    case ManifestRoute::Cabinet:
        extracted = ExtractCabinetManifest(path, target);
        break;
    case ManifestRoute::None:
        break;
    }
    if (!extracted)
        return _stringx<>();
    owner->DebugLine(L"Extracted manifest to file %s", target);
    return target;
}

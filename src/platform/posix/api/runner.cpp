#include "../runner.h"

#include "../kernel/paths.h"
#include "../session/session_handle.h"

namespace qv::posix {

MSIHANDLE OpenSession(MSIHANDLE database, const std::string& package_posix_path, MessageSink sink) {
    auto db = winapi::lookup<winapi::DatabaseObject>(database);
    if (!db || !db->db) return 0;
    auto object = std::make_shared<session::SessionObject>();
    object->session = std::make_unique<session::Session>(db->db, windows_path_from_posix(package_posix_path));
    object->database_name = db->name;
    object->sink = std::move(sink);
    return winapi::register_handle(object);
}

}  // namespace qv::posix

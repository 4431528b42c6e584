// The handle object of an install session, shared by the session API and
// the runner.
#pragma once

#include <memory>
#include <string>

#include "../api/handles.h"
#include "../runner.h"
#include "session.h"

namespace qv::posix::session {

class SessionObject : public winapi::HandleObject {
public:
    std::unique_ptr<Session> session;
    std::wstring database_name;  // name of the database handle it was opened on
    MessageSink sink;
};

}  // namespace qv::posix::session

// com_exception: the one exception of the database layer. It carries an
// HRESULT and, read from the thread's error object at construction, the
// description and source of the failure.
#pragma once

#include <exception>

#include "foundation/stringx.h"
#include "platform/platform.h"

class com_exception : public std::exception {
public:
    explicit com_exception(HRESULT code);
    com_exception(const com_exception& other);
    com_exception& operator=(const com_exception& other);
    ~com_exception() override;

    HRESULT Error() const noexcept { return m_code; }
    const _stringx<>& Description() const noexcept { return m_description; }
    const _stringx<>& Source() const noexcept { return m_source; }
    const GUID& InterfaceGuid() const noexcept { return m_interface; }
    const GUID& SourceClass() const noexcept { return m_class; }

    // The description in the narrow code page.
    const char* what() const noexcept override;

private:
    HRESULT m_code;
    GUID m_interface;
    GUID m_class;
    _stringx<> m_description;
    _stringx<> m_source;
    mutable _stringx<> m_narrowHolder;
};

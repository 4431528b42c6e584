#include "database/com_exception.h"

#include <cstring>

namespace {

// The three flags of every system message lookup: allocate the buffer, take
// the text from the system, leave inserts alone.
constexpr DWORD kSystemMessageFlags = 0x1300;

_stringx<> TakeBstr(BSTR text)
{
    _stringx<> result(text ? text : L"", text ? SysStringLen(text) : 0);
    SysFreeString(text);
    return result;
}

}  // namespace

com_exception::com_exception(HRESULT code) : m_code(code), m_interface{}, m_class{}
{
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) == S_OK && info) {
        BSTR text = nullptr;
        if (SUCCEEDED(info->GetDescription(&text)))
            m_description = TakeBstr(text);
        info->GetGUID(&m_interface);
        text = nullptr;
        if (SUCCEEDED(info->GetSource(&text)))
            m_source = TakeBstr(text);
        if (FAILED(CLSIDFromProgID(m_source.c_str(), &m_class)))
            std::memset(&m_class, 0, sizeof(m_class));
        info->Release();
        return;
    }
    LPWSTR message = nullptr;
    const DWORD length = FormatMessageW(kSystemMessageFlags, nullptr, static_cast<DWORD>(code), 0,
                                        reinterpret_cast<LPWSTR>(&message), 0, nullptr);
    if (length && message)
        m_description.assign(message, length);
    else
        m_description = L"Unknown error";
    if (message)
        LocalFree(message);
}

com_exception::com_exception(const com_exception& other)
    : std::exception(other),
      m_code(other.m_code),
      m_interface(other.m_interface),
      m_class(other.m_class),
      m_description(other.m_description),
      m_source(other.m_source)
{
}

com_exception& com_exception::operator=(const com_exception& other)
{
    m_code = other.m_code;
    m_interface = other.m_interface;
    m_class = other.m_class;
    m_description = other.m_description;
    m_source = other.m_source;
    return *this;
}

com_exception::~com_exception() = default;

const char* com_exception::what() const noexcept
{
    try {
        m_narrowHolder = m_description;
        return m_narrowHolder.GetNarrow();
    } catch (...) {
        return "com_exception";
    }
}

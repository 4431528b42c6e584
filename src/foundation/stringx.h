// _stringx: the library's wide string.
//
// - It keeps GetLastError() intact across its own construction and
//   destruction, so message text can be built between a failing system call
//   and the read of its error code.
// - Texts of up to 7 characters live inline; longer texts live in COM string
//   memory (SysAllocStringLen / SysFreeString).
// - It hands out its text as a COM string (GetBSTR) or a narrow string
//   (GetNarrow) on demand; both copies are owned and released by the string.
// - _stringx<> compares character codes; _stringx<qv::char_traitsi> ignores
//   the case of A-Z in comparisons and searches.
//
// Positions beyond the end raise std::out_of_range("invalid string
// position"); results longer than max_size() raise
// std::length_error("string too long").
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "foundation/char_traits.h"
#include "platform/platform.h"

template <class Traits = qv::char_traits>
class _stringx {
public:
    using traits_type = Traits;
    using value_type = wchar_t;
    using size_type = std::size_t;
    using iterator = wchar_t*;
    using const_iterator = const wchar_t*;

    static constexpr size_type npos = static_cast<size_type>(-1);
    static constexpr uint32_t kInlineCapacity = 7;
    static constexpr uint32_t kMaxSize = 0x7FFFFFFE;

    // ---- construction and destruction --------------------------------

    _stringx() { Begin(); End(); }

    _stringx(const wchar_t* text)  // NOLINT: implicit on purpose, a null pointer is the empty text
    {
        Begin();
        if (text)
            AssignRaw(text, Length(text));
        End();
    }

    _stringx(const wchar_t* text, size_type count)
    {
        Begin();
        if (text)
            AssignRaw(text, count);
        End();
    }

    _stringx(size_type count, wchar_t c)
    {
        Begin();
        Grow(CheckedLength(count));
        for (size_type i = 0; i < count; ++i)
            Buffer()[i] = c;
        SetSize(static_cast<uint32_t>(count));
        End();
    }

    explicit _stringx(std::wstring_view text)
    {
        Begin();
        AssignRaw(text.data(), text.size());
        End();
    }

    _stringx(const _stringx& other)
    {
        Begin();
        AssignRaw(other.data(), other.size());
        End();
    }

    // Converts between the plain and the case-insensitive instance: the text
    // only, like a copy.
    template <class OtherTraits>
    _stringx(const _stringx<OtherTraits>& other)  // NOLINT: implicit on purpose
    {
        Begin();
        AssignRaw(other.data(), other.size());
        End();
    }

    _stringx(_stringx&& other) noexcept
    {
        Begin();
        StealFrom(other);
        End();
    }
    // From a temporary of the other instance: its buffer is taken over, as
    // a move would; the text is the same as a copy's.
    template <class OtherTraits>
    _stringx(_stringx<OtherTraits>&& other) noexcept  // NOLINT: implicit on purpose
    {
        Begin();
        StealFrom(other);
        End();
    }

    ~_stringx()
    {
        const DWORD saved = GetLastError();
        ReleaseCopies();
        if (m_capacity > kInlineCapacity)
            SysFreeString(m_text.heap);
        m_size = 0;
        m_capacity = kInlineCapacity;
        m_text.inline_text[0] = L'\0';
        SetLastError(saved);
    }

    _stringx& operator=(const _stringx& other)
    {
        if (this != &other)
            assign(other.data(), other.size());
        return *this;
    }

    _stringx& operator=(_stringx&& other) noexcept
    {
        if (this != &other) {
            const DWORD saved = GetLastError();
            ReleaseCopies();
            if (m_capacity > kInlineCapacity)
                SysFreeString(m_text.heap);
            m_capacity = kInlineCapacity;
            m_size = 0;
            m_text.inline_text[0] = L'\0';
            StealFrom(other);
            SetLastError(saved);
        }
        return *this;
    }

    _stringx& operator=(const wchar_t* text) { return assign(text); }
    _stringx& operator=(wchar_t c) { return assign(1, c); }

    // ---- size and access -----------------------------------------------

    size_type size() const noexcept { return m_size; }
    size_type length() const noexcept { return m_size; }
    size_type capacity() const noexcept { return m_capacity; }
    size_type max_size() const noexcept { return kMaxSize; }
    bool empty() const noexcept { return m_size == 0; }

    const wchar_t* c_str() const noexcept { return Buffer(); }
    const wchar_t* data() const noexcept { return Buffer(); }
    wchar_t* data() noexcept { return Buffer(); }
    std::wstring_view view() const noexcept { return std::wstring_view(Buffer(), m_size); }
    std::wstring str() const { return std::wstring(Buffer(), m_size); }

    iterator begin() noexcept { return Buffer(); }
    iterator end() noexcept { return Buffer() + m_size; }
    const_iterator begin() const noexcept { return Buffer(); }
    const_iterator end() const noexcept { return Buffer() + m_size; }

    wchar_t& operator[](size_type pos) noexcept { return Buffer()[pos]; }
    const wchar_t& operator[](size_type pos) const noexcept { return Buffer()[pos]; }

    wchar_t& at(size_type pos)
    {
        if (pos >= m_size)
            ThrowPosition();
        return Buffer()[pos];
    }
    const wchar_t& at(size_type pos) const
    {
        if (pos >= m_size)
            ThrowPosition();
        return Buffer()[pos];
    }

    wchar_t& front() noexcept { return Buffer()[0]; }
    wchar_t& back() noexcept { return Buffer()[m_size - 1]; }
    const wchar_t& front() const noexcept { return Buffer()[0]; }
    const wchar_t& back() const noexcept { return Buffer()[m_size - 1]; }

    void reserve(size_type count) { Grow(CheckedLength(count)); }

    void resize(size_type count, wchar_t c = L'\0')
    {
        if (count <= m_size) {
            SetSize(static_cast<uint32_t>(count));
            return;
        }
        append(count - m_size, c);
    }

    void clear() noexcept { SetSize(0); }

    void swap(_stringx& other) noexcept
    {
        _stringx tmp(std::move(other));
        other = std::move(*this);
        *this = std::move(tmp);
    }

    // ---- assign, append, insert, erase, replace --------------------------

    _stringx& assign(const wchar_t* text, size_type count) { return replace(0, m_size, text, count); }
    _stringx& assign(const wchar_t* text) { return text ? assign(text, Length(text)) : assign(L"", 0); }
    _stringx& assign(const _stringx& other) { return assign(other.data(), other.size()); }
    _stringx& assign(const _stringx& other, size_type pos, size_type count = npos)
    {
        other.CheckPosition(pos);
        return assign(other.data() + pos, Clamp(other.size(), pos, count));
    }
    _stringx& assign(size_type count, wchar_t c)
    {
        clear();
        return append(count, c);
    }

    _stringx& append(const wchar_t* text, size_type count) { return replace(m_size, 0, text, count); }
    _stringx& append(const wchar_t* text) { return text ? append(text, Length(text)) : *this; }
    _stringx& append(const _stringx& other) { return append(other.data(), other.size()); }
    _stringx& append(const _stringx& other, size_type pos, size_type count = npos)
    {
        other.CheckPosition(pos);
        return append(other.data() + pos, Clamp(other.size(), pos, count));
    }
    _stringx& append(size_type count, wchar_t c)
    {
        const uint32_t newSize = CheckedSum(m_size, count);
        Grow(newSize);
        for (uint32_t i = m_size; i < newSize; ++i)
            Buffer()[i] = c;
        SetSize(newSize);
        return *this;
    }

    _stringx& operator+=(const _stringx& other) { return append(other); }
    _stringx& operator+=(const wchar_t* text) { return append(text); }
    _stringx& operator+=(wchar_t c) { return append(1, c); }
    void push_back(wchar_t c) { append(1, c); }
    void pop_back() noexcept
    {
        if (m_size)
            SetSize(m_size - 1);
    }

    _stringx& insert(size_type pos, const wchar_t* text, size_type count) { return replace(pos, 0, text, count); }
    _stringx& insert(size_type pos, const wchar_t* text) { return insert(pos, text, text ? Length(text) : 0); }
    _stringx& insert(size_type pos, const _stringx& other) { return insert(pos, other.data(), other.size()); }
    _stringx& insert(size_type pos, size_type count, wchar_t c)
    {
        CheckPosition(pos);
        _stringx fill(count, c);
        return replace(pos, 0, fill.data(), fill.size());
    }

    _stringx& erase(size_type pos = 0, size_type count = npos) { return replace(pos, count, L"", 0); }

    _stringx& replace(size_type pos, size_type count, const _stringx& other)
    {
        return replace(pos, count, other.data(), other.size());
    }
    _stringx& replace(size_type pos, size_type count, const wchar_t* text)
    {
        return replace(pos, count, text, text ? Length(text) : 0);
    }

    // The one primitive behind every change of the text.
    _stringx& replace(size_type pos, size_type count, const wchar_t* text, size_type textCount)
    {
        CheckPosition(pos);
        const size_type removed = Clamp(m_size, pos, count);
        if (textCount > kMaxSize)
            ThrowLength();
        const uint32_t newSize = CheckedSum(m_size - removed, textCount);
        // A source inside our own buffer may move or be overwritten: copy it first.
        std::wstring aliasCopy;
        if (textCount && text >= Buffer() && text <= Buffer() + m_size) {
            aliasCopy.assign(text, textCount);
            text = aliasCopy.data();
        }
        Grow(newSize);
        wchar_t* buffer = Buffer();
        const size_type tail = m_size - pos - removed;
        if (tail && removed != textCount)
            std::memmove(buffer + pos + textCount, buffer + pos + removed, tail * sizeof(wchar_t));
        if (textCount)
            std::memcpy(buffer + pos, text, textCount * sizeof(wchar_t));
        SetSize(newSize);
        return *this;
    }

    _stringx substr(size_type pos = 0, size_type count = npos) const
    {
        CheckPosition(pos);
        return _stringx(Buffer() + pos, Clamp(m_size, pos, count));
    }

    // ---- searching ---------------------------------------------------------

    size_type find(const wchar_t* text, size_type pos, size_type count) const noexcept
    {
        if (pos > m_size || count > m_size - pos)
            return npos;
        if (count == 0)
            return pos;
        for (size_type i = pos; i + count <= m_size; ++i) {
            if (Traits::compare(Buffer() + i, text, count) == 0)
                return i;
        }
        return npos;
    }
    size_type find(const wchar_t* text, size_type pos = 0) const noexcept { return find(text, pos, Length(text)); }
    size_type find(const _stringx& other, size_type pos = 0) const noexcept
    {
        return find(other.data(), pos, other.size());
    }
    size_type find(wchar_t c, size_type pos = 0) const noexcept { return find(&c, pos, 1); }

    size_type rfind(const wchar_t* text, size_type pos, size_type count) const noexcept
    {
        if (count > m_size)
            return npos;
        size_type i = m_size - count < pos ? m_size - count : pos;
        for (;; --i) {
            if (Traits::compare(Buffer() + i, text, count) == 0)
                return i;
            if (i == 0)
                return npos;
        }
    }
    size_type rfind(const wchar_t* text, size_type pos = npos) const noexcept { return rfind(text, pos, Length(text)); }
    size_type rfind(const _stringx& other, size_type pos = npos) const noexcept
    {
        return rfind(other.data(), pos, other.size());
    }
    size_type rfind(wchar_t c, size_type pos = npos) const noexcept { return rfind(&c, pos, 1); }

    size_type find_first_of(const wchar_t* set, size_type pos, size_type count) const noexcept
    {
        for (size_type i = pos; i < m_size; ++i) {
            if (Traits::find(set, count, Buffer()[i]))
                return i;
        }
        return npos;
    }
    size_type find_first_of(const wchar_t* set, size_type pos = 0) const noexcept
    {
        return find_first_of(set, pos, Length(set));
    }
    size_type find_first_of(const _stringx& set, size_type pos = 0) const noexcept
    {
        return find_first_of(set.data(), pos, set.size());
    }
    size_type find_first_of(wchar_t c, size_type pos = 0) const noexcept { return find(c, pos); }

    size_type find_last_of(const wchar_t* set, size_type pos, size_type count) const noexcept
    {
        if (m_size == 0)
            return npos;
        for (size_type i = pos < m_size ? pos : m_size - 1;; --i) {
            if (Traits::find(set, count, Buffer()[i]))
                return i;
            if (i == 0)
                return npos;
        }
    }
    size_type find_last_of(const wchar_t* set, size_type pos = npos) const noexcept
    {
        return find_last_of(set, pos, Length(set));
    }
    size_type find_last_of(const _stringx& set, size_type pos = npos) const noexcept
    {
        return find_last_of(set.data(), pos, set.size());
    }
    size_type find_last_of(wchar_t c, size_type pos = npos) const noexcept { return rfind(c, pos); }

    size_type find_first_not_of(const wchar_t* set, size_type pos, size_type count) const noexcept
    {
        for (size_type i = pos; i < m_size; ++i) {
            if (!Traits::find(set, count, Buffer()[i]))
                return i;
        }
        return npos;
    }
    size_type find_first_not_of(const wchar_t* set, size_type pos = 0) const noexcept
    {
        return find_first_not_of(set, pos, Length(set));
    }
    size_type find_first_not_of(const _stringx& set, size_type pos = 0) const noexcept
    {
        return find_first_not_of(set.data(), pos, set.size());
    }

    size_type find_last_not_of(const wchar_t* set, size_type pos, size_type count) const noexcept
    {
        if (m_size == 0)
            return npos;
        for (size_type i = pos < m_size ? pos : m_size - 1;; --i) {
            if (!Traits::find(set, count, Buffer()[i]))
                return i;
            if (i == 0)
                return npos;
        }
    }
    size_type find_last_not_of(const wchar_t* set, size_type pos = npos) const noexcept
    {
        return find_last_not_of(set, pos, Length(set));
    }
    size_type find_last_not_of(const _stringx& set, size_type pos = npos) const noexcept
    {
        return find_last_not_of(set.data(), pos, set.size());
    }

    // ---- comparison: -1, 0 or 1 --------------------------------------------

    int compare(const wchar_t* text, size_type count) const noexcept
    {
        const size_type common = m_size < count ? m_size : count;
        const int r = Traits::compare(Buffer(), text, common);
        if (r != 0)
            return r < 0 ? -1 : 1;
        if (m_size == count)
            return 0;
        return m_size < count ? -1 : 1;
    }
    int compare(const _stringx& other) const noexcept { return compare(other.data(), other.size()); }
    int compare(const wchar_t* text) const noexcept { return compare(text, Length(text)); }
    int compare(size_type pos, size_type count, const _stringx& other) const
    {
        return substr(pos, count).compare(other);
    }

    // ---- COM and narrow copies ------------------------------------------

    // Brings the COM copy up to date with the text and returns it. The copy
    // stays owned by the string.
    BSTR GetBSTR()
    {
        if (m_com && SysStringLen(m_com) == m_size) {
            std::memcpy(m_com, Buffer(), m_size * sizeof(wchar_t));
        } else if (m_com) {
            if (!SysReAllocStringLen(&m_com, Buffer(), m_size))
                throw std::bad_alloc();
        } else {
            m_com = SysAllocStringLen(Buffer(), m_size);
            if (!m_com)
                throw std::bad_alloc();
        }
        m_com[m_size] = L'\0';
        return m_com;
    }

    // The text in the system's narrow code page, owned by the string and
    // valid until the next call or the end of the string.
    const char* GetNarrow()
    {
        FreeNarrow();
        const int needed = m_size ? WideCharToMultiByte(CP_ACP, 0, Buffer(), static_cast<int>(m_size), nullptr, 0,
                                                        nullptr, nullptr)
                                  : 0;
        m_narrow = static_cast<char*>(std::malloc(static_cast<size_t>(needed > 0 ? needed : 0) + 1));
        if (!m_narrow)
            throw std::bad_alloc();
        int written = 0;
        if (needed > 0)
            written = WideCharToMultiByte(CP_ACP, 0, Buffer(), static_cast<int>(m_size), m_narrow, needed, nullptr,
                                          nullptr);
        if (written < 0)
            written = 0;
        m_narrow[written] = '\0';
        m_narrowState = written;
        return m_narrow;
    }

    // A write-through holder for a caller that fills text through a pointer:
    // hand it out as LPWSTR (the COM copy is the target) or as LPSTR (a
    // narrow buffer); when the holder ends, the terminated text written there
    // becomes the string's text.
    class BufferHolder {
    public:
        BufferHolder(const BufferHolder&) = delete;
        BufferHolder& operator=(const BufferHolder&) = delete;

        ~BufferHolder()
        {
            const DWORD saved = GetLastError();
            if (m_narrow) {
                m_narrow[m_size] = '\0';
                const int len = static_cast<int>(std::strlen(m_narrow));
                const int wide = len ? MultiByteToWideChar(CP_ACP, 0, m_narrow, len, nullptr, 0) : 0;
                std::wstring text(wide > 0 ? static_cast<size_t>(wide) : 0, L'\0');
                if (wide > 0)
                    MultiByteToWideChar(CP_ACP, 0, m_narrow, len, text.data(), wide);
                m_owner.assign(text.data(), text.size());
                std::free(m_narrow);
            } else if (m_wideWritten) {
                BSTR com = m_owner.m_com;
                size_type len = 0;
                while (len < m_size && com[len] != L'\0')
                    ++len;
                m_owner.assign(com, len);
            }
            SetLastError(saved);
        }

        LPWSTR wide()
        {
            m_wideWritten = true;
            return m_owner.m_com;
        }
        LPSTR narrow()
        {
            if (!m_narrow) {
                m_narrow = static_cast<char*>(std::calloc(m_size + 1, 1));
                if (!m_narrow)
                    throw std::bad_alloc();
            }
            return m_narrow;
        }
        operator LPWSTR() { return wide(); }  // NOLINT: passed straight to API calls
        operator LPSTR() { return narrow(); }  // NOLINT
        size_type size() const noexcept { return m_size; }

    private:
        friend class _stringx;
        BufferHolder(_stringx& owner, size_type size) : m_owner(owner), m_size(size)
        {
            owner.reserve(size);
            if (owner.m_com)
                SysFreeString(owner.m_com);
            owner.m_com = SysAllocStringLen(nullptr, static_cast<UINT>(size));
            if (!owner.m_com)
                throw std::bad_alloc();
            owner.m_com[0] = L'\0';
            owner.m_com[size] = L'\0';
        }

        _stringx& m_owner;
        size_type m_size;
        bool m_wideWritten = false;
        char* m_narrow = nullptr;
    };

    BufferHolder GetBuffer(size_type size) { return BufferHolder(*this, size); }

private:
    template <class>
    friend class _stringx;

    static size_type Length(const wchar_t* text) noexcept
    {
        if (!text)
            return 0;
        size_type n = 0;
        while (text[n])
            ++n;
        return n;
    }

    static size_type Clamp(size_type size, size_type pos, size_type count) noexcept
    {
        return count < size - pos ? count : size - pos;
    }

    [[noreturn]] static void ThrowPosition() { throw std::out_of_range("invalid string position"); }
    [[noreturn]] static void ThrowLength() { throw std::length_error("string too long"); }

    void CheckPosition(size_type pos) const
    {
        if (pos > m_size)
            ThrowPosition();
    }

    static uint32_t CheckedLength(size_type count)
    {
        if (count > kMaxSize)
            ThrowLength();
        return static_cast<uint32_t>(count);
    }

    static uint32_t CheckedSum(size_type a, size_type b)
    {
        if (b > kMaxSize || a > kMaxSize - b)
            ThrowLength();
        return static_cast<uint32_t>(a + b);
    }

    wchar_t* Buffer() noexcept { return m_capacity > kInlineCapacity ? m_text.heap : m_text.inline_text; }
    const wchar_t* Buffer() const noexcept
    {
        return m_capacity > kInlineCapacity ? m_text.heap : m_text.inline_text;
    }

    void SetSize(uint32_t size) noexcept
    {
        m_size = size;
        Buffer()[size] = L'\0';
    }

    // Construction steps: keep the last error, start empty.
    void Begin() noexcept
    {
        m_savedError = GetLastError();
        m_size = 0;
        m_capacity = kInlineCapacity;
        m_text.inline_text[0] = L'\0';
        m_narrow = nullptr;
        m_narrowState = 0;
        m_com = nullptr;
    }
    void End() noexcept { SetLastError(m_savedError); }

    void AssignRaw(const wchar_t* text, size_type count)
    {
        const uint32_t n = CheckedLength(count);
        Grow(n);
        if (n)
            std::memcpy(Buffer(), text, n * sizeof(wchar_t));
        SetSize(n);
    }

    template <class OtherTraits>
    void StealFrom(_stringx<OtherTraits>& other) noexcept
    {
        if (other.m_capacity > kInlineCapacity) {
            m_text.heap = other.m_text.heap;
            m_capacity = other.m_capacity;
            other.m_capacity = kInlineCapacity;
        } else {
            std::memcpy(m_text.inline_text, other.m_text.inline_text, sizeof(m_text.inline_text));
        }
        m_size = other.m_size;
        other.m_size = 0;
        other.m_text.inline_text[0] = L'\0';
    }

    // Growth: at least n, rounded up with OR 7; a small step grows by half
    // the old capacity instead, so that appending one character at a time
    // stays linear.
    void Grow(uint32_t n)
    {
        if (n <= m_capacity)
            return;
        uint32_t newCapacity = n | kInlineCapacity;
        if (newCapacity > kMaxSize)
            newCapacity = n;
        else if (m_capacity / 2 > newCapacity / 3)
            newCapacity = m_capacity <= kMaxSize - m_capacity / 2 ? m_capacity + m_capacity / 2 : kMaxSize;
        wchar_t* fresh = SysAllocStringLen(nullptr, newCapacity + 1);
        if (!fresh)
            throw std::bad_alloc();
        std::memcpy(fresh, Buffer(), (m_size + 1) * sizeof(wchar_t));
        if (m_capacity > kInlineCapacity)
            SysFreeString(m_text.heap);
        m_text.heap = fresh;
        m_capacity = newCapacity;
    }

    void FreeNarrow() noexcept
    {
        std::free(m_narrow);
        m_narrow = nullptr;
        m_narrowState = 0;
    }

    void ReleaseCopies() noexcept
    {
        FreeNarrow();
        if (m_com) {
            SysFreeString(m_com);
            m_com = nullptr;
        }
    }

    union {
        wchar_t inline_text[kInlineCapacity + 1];
        wchar_t* heap;
    } m_text;
    uint32_t m_size;
    uint32_t m_capacity;
    char* m_narrow;
    int32_t m_narrowState;
    BSTR m_com;
    DWORD m_savedError;
};

// ---- free operators ----------------------------------------------------------

template <class T>
_stringx<T> operator+(const _stringx<T>& a, const _stringx<T>& b)
{
    _stringx<T> r(a);
    r.append(b);
    return r;
}
template <class T>
_stringx<T> operator+(const _stringx<T>& a, const wchar_t* b)
{
    _stringx<T> r(a);
    r.append(b);
    return r;
}
template <class T>
_stringx<T> operator+(const wchar_t* a, const _stringx<T>& b)
{
    _stringx<T> r(a);
    r.append(b);
    return r;
}
template <class T>
_stringx<T> operator+(const _stringx<T>& a, wchar_t c)
{
    _stringx<T> r(a);
    r.push_back(c);
    return r;
}

template <class T>
bool operator==(const _stringx<T>& a, const _stringx<T>& b) noexcept
{
    // Both instances fold one character to one, so equal texts have equal
    // lengths: a length that differs answers at once.
    return a.size() == b.size() && a.compare(b) == 0;
}
template <class T>
bool operator==(const _stringx<T>& a, const wchar_t* b) noexcept
{
    const std::size_t length = b ? std::wcslen(b) : 0;
    return a.size() == length && a.compare(b, length) == 0;
}
template <class T>
bool operator<(const _stringx<T>& a, const _stringx<T>& b) noexcept
{
    return a.compare(b) < 0;
}
template <class T>
bool operator>(const _stringx<T>& a, const _stringx<T>& b) noexcept
{
    return a.compare(b) > 0;
}
template <class T>
bool operator<=(const _stringx<T>& a, const _stringx<T>& b) noexcept
{
    return a.compare(b) <= 0;
}
template <class T>
bool operator>=(const _stringx<T>& a, const _stringx<T>& b) noexcept
{
    return a.compare(b) >= 0;
}

namespace qv {
// The two instances under short names for code that wants them.
using stringx = _stringx<>;
using stringxi = _stringx<char_traitsi>;
}  // namespace qv

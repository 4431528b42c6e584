#include "foundation/format.h"

namespace qv {
namespace {

// Writes into a bounded buffer and counts everything, written or not.
class Sink {
public:
    Sink(wchar_t* out, size_t capacity) : m_out(out), m_capacity(capacity) {}

    void Put(wchar_t c)
    {
        if (m_out && m_length + 1 < m_capacity)
            m_out[m_length] = c;
        ++m_length;
    }
    void Put(const wchar_t* text, size_t n)
    {
        for (size_t i = 0; i < n; ++i)
            Put(text[i]);
    }
    void Repeat(wchar_t c, size_t n)
    {
        for (size_t i = 0; i < n; ++i)
            Put(c);
    }
    size_t Finish()
    {
        if (m_out && m_capacity) {
            size_t end = m_length < m_capacity ? m_length : m_capacity - 1;
            m_out[end] = L'\0';
        }
        return m_length;
    }

private:
    wchar_t* m_out;
    size_t m_capacity;
    size_t m_length = 0;
};

struct Conversion {
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool zero = false;
    bool alternate = false;
    size_t width = 0;
    bool hasPrecision = false;
    size_t precision = 0;
    wchar_t conversion = 0;
};

void PutPadded(Sink& sink, const Conversion& conv, const wchar_t* text, size_t n)
{
    const size_t pad = conv.width > n ? conv.width - n : 0;
    if (!conv.left)
        sink.Repeat(L' ', pad);
    sink.Put(text, n);
    if (conv.left)
        sink.Repeat(L' ', pad);
}

void PutNumber(Sink& sink, const Conversion& conv, const FormatArg* arg)
{
    if (!arg)
        return;
    int64_t value = 0;
    bool isSigned = true;
    if (arg->kind != FormatArg::Kind::Text) {
        value = arg->number;
        isSigned = arg->kind == FormatArg::Kind::Signed;
    }
    const wchar_t c = conv.conversion;
    unsigned base = 10;
    bool upper = false;
    if (c == L'x' || c == L'X') {
        base = 16;
        upper = c == L'X';
    } else if (c == L'o') {
        base = 8;
    }
    bool negative = false;
    uint64_t magnitude;
    if (c == L'd' || c == L'i') {
        // Signed conversions read the value as a 32-bit int unless it came
        // as a wider signed value, like printf with an int argument.
        if (!isSigned && static_cast<uint64_t>(value) <= 0xFFFFFFFFull)
            value = static_cast<int32_t>(static_cast<uint32_t>(value));
        negative = value < 0;
        magnitude = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    } else {
        // Unsigned conversions of a negative int see its 32-bit pattern.
        if (isSigned && value < 0 && value >= INT32_MIN)
            magnitude = static_cast<uint32_t>(static_cast<int32_t>(value));
        else
            magnitude = static_cast<uint64_t>(value);
    }
    wchar_t digits[72];
    size_t n = 0;
    do {
        const unsigned d = static_cast<unsigned>(magnitude % base);
        digits[n++] = static_cast<wchar_t>(d < 10 ? L'0' + d : (upper ? L'A' : L'a') + d - 10);
        magnitude /= base;
    } while (magnitude);
    if (conv.hasPrecision && conv.precision == 0 && n == 1 && digits[0] == L'0')
        n = 0;
    size_t minimumDigits = conv.hasPrecision ? conv.precision : 0;
    wchar_t prefix[3];
    size_t prefixLength = 0;
    if (negative)
        prefix[prefixLength++] = L'-';
    else if ((c == L'd' || c == L'i') && conv.plus)
        prefix[prefixLength++] = L'+';
    else if ((c == L'd' || c == L'i') && conv.blank)
        prefix[prefixLength++] = L' ';
    if (conv.alternate && base == 16 && n) {
        prefix[prefixLength++] = L'0';
        prefix[prefixLength++] = upper ? L'X' : L'x';
    } else if (conv.alternate && base == 8 && minimumDigits <= n) {
        minimumDigits = n + 1;
    }
    const size_t zeros = minimumDigits > n ? minimumDigits - n : 0;
    const size_t body = prefixLength + zeros + n;
    const size_t pad = conv.width > body ? conv.width - body : 0;
    const bool zeroPad = conv.zero && !conv.left && !conv.hasPrecision;
    if (!conv.left && !zeroPad)
        sink.Repeat(L' ', pad);
    sink.Put(prefix, prefixLength);
    if (zeroPad)
        sink.Repeat(L'0', pad);
    sink.Repeat(L'0', zeros);
    while (n)
        sink.Put(digits[--n]);
    if (conv.left)
        sink.Repeat(L' ', pad);
}

void PutText(Sink& sink, const Conversion& conv, const FormatArg* arg)
{
    if (!arg)
        return;
    if (arg->kind != FormatArg::Kind::Text) {
        Conversion decimal = conv;
        decimal.conversion = L'd';
        decimal.hasPrecision = false;
        PutNumber(sink, decimal, arg);
        return;
    }
    const wchar_t* text = arg->text;
    size_t n = arg->textLength;
    if (!text) {
        text = L"(null)";
        n = 6;
    }
    if (conv.hasPrecision && conv.precision < n)
        n = conv.precision;
    PutPadded(sink, conv, text, n);
}

}  // namespace

size_t FormatInto(wchar_t* out, size_t capacity, const wchar_t* format, const FormatArg* args, size_t count)
{
    Sink sink(out, capacity);
    size_t next = 0;
    auto take = [&]() -> const FormatArg* { return next < count ? &args[next++] : nullptr; };
    const wchar_t* p = format ? format : L"";
    while (*p) {
        if (*p != L'%') {
            sink.Put(*p++);
            continue;
        }
        const wchar_t* start = p++;
        Conversion conv;
        for (;; ++p) {
            if (*p == L'-')
                conv.left = true;
            else if (*p == L'+')
                conv.plus = true;
            else if (*p == L' ')
                conv.blank = true;
            else if (*p == L'0')
                conv.zero = true;
            else if (*p == L'#')
                conv.alternate = true;
            else
                break;
        }
        if (*p == L'*') {
            const FormatArg* w = take();
            int64_t width = w && w->kind != FormatArg::Kind::Text ? w->number : 0;
            if (width < 0) {
                conv.left = true;
                width = -width;
            }
            conv.width = static_cast<size_t>(width);
            ++p;
        } else {
            while (*p >= L'0' && *p <= L'9')
                conv.width = conv.width * 10 + static_cast<size_t>(*p++ - L'0');
        }
        if (*p == L'.') {
            ++p;
            conv.hasPrecision = true;
            if (*p == L'*') {
                const FormatArg* w = take();
                const int64_t precision = w && w->kind != FormatArg::Kind::Text ? w->number : 0;
                if (precision < 0)
                    conv.hasPrecision = false;
                else
                    conv.precision = static_cast<size_t>(precision);
                ++p;
            } else {
                while (*p >= L'0' && *p <= L'9')
                    conv.precision = conv.precision * 10 + static_cast<size_t>(*p++ - L'0');
            }
        }
        // Length modifiers carry no meaning for typed arguments.
        for (;;) {
            if (*p == L'h' || *p == L'l' || *p == L'w' || *p == L'z' || *p == L'j' || *p == L't' || *p == L'L') {
                ++p;
            } else if (p[0] == L'I' && p[1] == L'6' && p[2] == L'4') {
                p += 3;
            } else if (p[0] == L'I' && p[1] == L'3' && p[2] == L'2') {
                p += 3;
            } else if (*p == L'I') {
                ++p;
            } else {
                break;
            }
        }
        conv.conversion = *p;
        switch (*p) {
        case L'%':
            sink.Put(L'%');
            ++p;
            break;
        case L's':
        case L'S':
            PutText(sink, conv, take());
            ++p;
            break;
        case L'c':
        case L'C': {
            const FormatArg* a = take();
            wchar_t c = a && a->kind != FormatArg::Kind::Text ? static_cast<wchar_t>(a->number) : L'\0';
            PutPadded(sink, conv, &c, c ? 1 : 0);
            ++p;
            break;
        }
        case L'd':
        case L'i':
        case L'u':
        case L'x':
        case L'X':
        case L'o':
            PutNumber(sink, conv, take());
            ++p;
            break;
        case L'\0':
            // A lone % at the end stays as written.
            sink.Put(start, static_cast<size_t>(p - start));
            break;
        default:
            // An unknown conversion is copied as it stands.
            sink.Put(start, static_cast<size_t>(p - start) + 1);
            ++p;
            break;
        }
    }
    return sink.Finish();
}

void FormatArgs(_stringx<>& out, const wchar_t* format, const FormatArg* args, size_t count)
{
    const size_t length = FormatInto(nullptr, 0, format, args, count);
    _stringx<> result;
    result.resize(length);
    FormatInto(result.data(), length + 1, format, args, count);
    out = std::move(result);
}

}  // namespace qv

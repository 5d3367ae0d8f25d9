// LightweightString: the host's reference-counted string.
//
// Copies share one immutable buffer through an atomic reference count, so
// handing strings between threads and into model records costs one increment.
// Every mutating operation copies the buffer first when it is shared. A null
// string (no buffer) and an empty string compare equal everywhere; c_str()
// of a null string is "".
//
// Narrow strings hold UTF-8 (identifiers, generated code, effect names); wide
// strings hold UTF-32 (paths, user-visible texts).
#pragma once

#include <algorithm>
#include <atomic>
#include <compare>
#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <string_view>

template <typename CharT>
class LightweightString {
public:
    using value_type = CharT;
    using view_type = std::basic_string_view<CharT>;
    using std_type = std::basic_string<CharT>;
    static constexpr size_t npos = std_type::npos;

    LightweightString() = default;
    LightweightString(const CharT* s) {
        if (s) assign(view_type(s));
    }
    LightweightString(const CharT* s, size_t n) { assign(view_type(s, n)); }
    LightweightString(view_type s) { assign(s); }
    LightweightString(const std_type& s) { assign(view_type(s)); }
    LightweightString(size_t count, CharT c) {
        if (count) {
            m_rep = Rep::make(count, count);
            std::fill_n(m_rep->chars(), count, c);
        }
    }

    LightweightString(const LightweightString& o) noexcept : m_rep(o.m_rep) { retain(); }
    LightweightString(LightweightString&& o) noexcept : m_rep(o.m_rep) { o.m_rep = nullptr; }
    LightweightString& operator=(const LightweightString& o) noexcept {
        if (m_rep != o.m_rep) {
            Rep* old = m_rep;
            m_rep = o.m_rep;
            retain();
            release(old);
        }
        return *this;
    }
    LightweightString& operator=(LightweightString&& o) noexcept {
        if (this != &o) {
            release(m_rep);
            m_rep = o.m_rep;
            o.m_rep = nullptr;
        }
        return *this;
    }
    ~LightweightString() { release(m_rep); }

    // --- reading ---
    bool isNull() const noexcept { return m_rep == nullptr; }
    bool empty() const noexcept { return size() == 0; }
    size_t size() const noexcept { return m_rep ? m_rep->size : 0; }
    size_t length() const noexcept { return size(); }
    const CharT* c_str() const noexcept { return m_rep ? m_rep->chars() : emptyText(); }
    const CharT* data() const noexcept { return c_str(); }
    view_type view() const noexcept { return m_rep ? view_type(m_rep->chars(), m_rep->size) : view_type(); }
    operator view_type() const noexcept { return view(); }
    std_type str() const { return std_type(view()); }
    // Index size() reads the terminating 0, for a null string too.
    CharT operator[](size_t i) const noexcept { return c_str()[i]; }
    const CharT* begin() const noexcept { return c_str(); }
    const CharT* end() const noexcept { return c_str() + size(); }

    bool startsWith(view_type prefix) const noexcept { return view().starts_with(prefix); }
    bool endsWith(view_type suffix) const noexcept { return view().ends_with(suffix); }
    size_t find(view_type what, size_t from = 0) const noexcept { return view().find(what, from); }
    size_t find(CharT c, size_t from = 0) const noexcept { return view().find(c, from); }
    LightweightString substr(size_t pos, size_t n = npos) const {
        if (pos >= size()) return {};
        if (pos == 0 && n >= size()) return *this;
        return LightweightString(view().substr(pos, n));
    }
    // Removes leading and trailing blanks (code 0x20 only: tabs are kept).
    LightweightString trimmedBlanks() const {
        const view_type v = view();
        const view_type t = trimBlanks(v);
        return t.size() == v.size() ? *this : LightweightString(t);
    }
    // The same rule on a view: the one trim of effect text.
    static view_type trimBlanks(view_type v) noexcept {
        const size_t first = v.find_first_not_of(CharT(' '));
        if (first == view_type::npos) return {};
        return v.substr(first, v.find_last_not_of(CharT(' ')) - first + 1);
    }

    // --- building ---
    LightweightString& operator+=(view_type s) {
        if (!s.empty()) {
            const size_t old = size();
            // `s` may point into this string's own buffer: copy before it can move.
            if (m_rep && s.data() >= m_rep->chars() && s.data() < m_rep->chars() + m_rep->size) {
                const std_type copy(s);
                return *this += view_type(copy);
            }
            makeUnique(old + s.size());
            copyChars(s.data(), s.size(), m_rep->chars() + old);
            setSize(old + s.size());
        }
        return *this;
    }
    LightweightString& operator+=(const CharT* s) { return *this += view_type(s); }
    LightweightString& operator+=(const LightweightString& s) { return *this += s.view(); }
    LightweightString& operator+=(CharT c) { return *this += view_type(&c, 1); }
    void reserve(size_t n) {
        if (n > size()) makeUnique(n);
    }
    void clear() {
        release(m_rep);
        m_rep = nullptr;
    }

    friend LightweightString operator+(const LightweightString& a, view_type b) {
        LightweightString r;
        const size_t n = a.size() + b.size();
        if (n == 0) return r;
        r.m_rep = Rep::make(n, n);
        copyChars(b.data(), b.size(), copyChars(a.data(), a.size(), r.m_rep->chars()));
        return r;
    }
    friend LightweightString operator+(const LightweightString& a, const LightweightString& b) { return a + b.view(); }
    friend LightweightString operator+(const LightweightString& a, const CharT* b) { return a + view_type(b); }
    friend LightweightString operator+(const CharT* a, const LightweightString& b) { return LightweightString(a) + b.view(); }
    friend LightweightString operator+(const LightweightString& a, CharT c) {
        LightweightString r(a);
        r += c;
        return r;
    }
    friend LightweightString operator+(CharT c, const LightweightString& b) {
        LightweightString r(1, c);
        r += b;
        return r;
    }

    // --- comparing (null == empty) ---
    friend bool operator==(const LightweightString& a, const LightweightString& b) noexcept { return a.view() == b.view(); }
    friend bool operator==(const LightweightString& a, const CharT* b) noexcept {
        return a.view() == view_type(b ? b : emptyText());
    }
    friend std::strong_ordering operator<=>(const LightweightString& a, const LightweightString& b) noexcept {
        return a.view() <=> b.view();
    }

private:
    // One allocation per string: this header, then capacity + 1 characters
    // (the text is always 0-terminated).
    struct Rep {
        std::atomic<int> refs;
        size_t size;
        size_t capacity;

        CharT* chars() noexcept { return reinterpret_cast<CharT*>(this + 1); }
        const CharT* chars() const noexcept { return reinterpret_cast<const CharT*>(this + 1); }
        static Rep* make(size_t size, size_t capacity) {
            static_assert(alignof(Rep) >= alignof(CharT));
            void* memory = ::operator new(sizeof(Rep) + (capacity + 1) * sizeof(CharT));
            Rep* r = new (memory) Rep{{1}, size, capacity};
            r->chars()[size] = CharT(0);
            return r;
        }
        static void destroy(Rep* r) noexcept {
            r->~Rep();
            ::operator delete(static_cast<void*>(r));
        }
    };
    static const CharT* emptyText() noexcept {
        static const CharT e[1] = {CharT(0)};
        return e;
    }
    void assign(view_type s) {
        if (s.empty()) return;
        m_rep = Rep::make(s.size(), s.size());
        copyChars(s.data(), s.size(), m_rep->chars());
    }
    // GCC 12 misjudges the bounds of the characters that follow the header
    // on paths it cannot rule out (e.g. substr past the end) and warns falsely.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wstringop-overflow"
#endif
    static CharT* copyChars(const CharT* from, size_t n, CharT* to) noexcept {
        std::char_traits<CharT>::copy(to, from, n);
        return to + n;
    }
#pragma GCC diagnostic pop
    void retain() noexcept {
        if (m_rep) m_rep->refs.fetch_add(1, std::memory_order_relaxed);
    }
    static void release(Rep* r) noexcept {
        if (r && r->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) Rep::destroy(r);
    }
    void setSize(size_t n) noexcept {
        m_rep->size = n;
        m_rep->chars()[n] = CharT(0);
    }
    // Makes the buffer this object's own (copy-on-write) with room for `needed`
    // characters, growing geometrically so that appending is amortised O(1).
    void makeUnique(size_t needed) {
        const bool shared = m_rep && m_rep->refs.load(std::memory_order_acquire) != 1;
        if (m_rep && !shared && m_rep->capacity >= needed) return;
        const size_t old = size();
        size_t capacity = std::max(needed, old);
        if (m_rep && !shared) capacity = std::max(capacity, m_rep->capacity * 2);
        Rep* fresh = Rep::make(old, capacity);
        if (m_rep) copyChars(m_rep->chars(), old, fresh->chars());
        release(m_rep);
        m_rep = fresh;
    }

    Rep* m_rep = nullptr;
};

using NarrowString = LightweightString<char>;
using WideString = LightweightString<wchar_t>;

template <typename CharT>
struct std::hash<LightweightString<CharT>> {
    size_t operator()(const LightweightString<CharT>& s) const noexcept {
        return std::hash<std::basic_string_view<CharT>>()(s.view());
    }
};

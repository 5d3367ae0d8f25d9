// configb: a small ordered key/value store of strings, numbers and bools.
//
// Used as the property set of shader parameters, and for preferences. Keys
// keep their insertion order; setting an existing key replaces its value.
// in(key, out) gives the key's index, or -1 when the key is absent, in which
// case `out` is left as it was (callers pre-load their default). Numbers and
// bools convert into one another on reading (a real read as an integer is
// truncated, saturating at the integer's range; NaN reads as 0); a string
// reads only as a string.
#pragma once

#include "host/base/LightweightString.h"

#include <cstdint>
#include <variant>
#include <vector>

// Something that wants to hear when a store it owns changes.
class Dirtiable {
public:
    virtual ~Dirtiable() = default;
    virtual void setDirty() = 0;
};

class configb {
public:
    using Value = std::variant<LightweightString<char>, double, int64_t, bool>;

    explicit configb(Dirtiable* owner = nullptr) : m_owner(owner) {}

    void set(const LightweightString<char>& key, const LightweightString<char>& value) { put(key, Value(value)); }
    void set(const LightweightString<char>& key, const char* value) { put(key, Value(LightweightString<char>(value))); }
    void set(const LightweightString<char>& key, double value) { put(key, Value(value)); }
    void set(const LightweightString<char>& key, bool value) { put(key, Value(value)); }
    void setInt(const LightweightString<char>& key, int64_t value) { put(key, Value(value)); }

    int in(const LightweightString<char>& key, LightweightString<char>& out) const;
    int in(const LightweightString<char>& key, double& out) const;
    int in(const LightweightString<char>& key, int& out) const;
    int in(const LightweightString<char>& key, int64_t& out) const;
    int in(const LightweightString<char>& key, bool& out) const;

    int indexOf(const LightweightString<char>& key) const;
    bool has(const LightweightString<char>& key) const { return indexOf(key) >= 0; }
    bool remove(const LightweightString<char>& key);
    size_t size() const { return m_entries.size(); }
    const LightweightString<char>& keyAt(size_t i) const { return m_entries[i].key; }
    const Value& valueAt(size_t i) const { return m_entries[i].value; }
    Dirtiable* owner() const { return m_owner; }

private:
    struct Entry {
        LightweightString<char> key;
        Value value;
    };
    void put(const LightweightString<char>& key, Value value);
    template <typename Number>
    int readNumber(const LightweightString<char>& key, Number& out) const;

    std::vector<Entry> m_entries;
    Dirtiable* m_owner = nullptr;
};

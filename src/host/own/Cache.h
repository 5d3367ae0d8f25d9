// Cache<Key, Value, SizeLimit<N>>: a small table of costly objects, keyed and
// ordered by Key's operator<, that hands out counted handles to its entries.
//
// Each entry holds its value and a use count: the number of live handles
// (Result objects) made for it. A handle keeps a copy of the key and of the
// value, and a reference to the table; when the last reference to a handle
// goes, it takes the table's lock, finds its entry by key and, when the entry
// is still there, lowers the count by one.
//
// The table holds at most N entries unless more are in use at once: before a
// new entry goes in while N or more are held, the first entry in key order
// whose use count is not above 0 is removed (one at most; none when all are
// in use, and the table grows). Values are made outside the lock, so a slow
// make does not hold up look-ups; when two threads make the same key at once,
// the first to insert wins and the other's value is dropped. A null value
// (a make that failed) is kept like any other: the key is not made again
// while its entry stays.
//
// Ownership: the table lives as long as the cache or its last handle, so a
// handle may outlive both clear() and the cache. Threads: every operation
// may be called from any thread; the table's CriticalSection guards it.
#pragma once

#include "host/base/CriticalSection.h"
#include "host/base/Ptr.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

template <size_t N>
struct SizeLimit {
    static constexpr size_t kMaxEntries = N;
};

template <typename Key, typename Value, typename Limit>
class Cache {
    struct Entry {
        Value value;
        int32_t useCount = 0;
    };
    struct Table : iObject {
        CriticalSection lock;
        std::map<Key, Entry> entries; // guarded by lock
    };

public:
    static constexpr size_t kMaxEntries = Limit::kMaxEntries;

    // A handle to one entry; its value stays valid while the handle lives.
    class Result : public iObject {
    public:
        ~Result() override {
            CriticalSectionLock hold(m_table->lock);
            const auto it = m_table->entries.find(m_key);
            if (it != m_table->entries.end()) --it->second.useCount;
        }
        const Key& getKey() const { return m_key; }
        const Value& getValue() const { return m_value; }

    private:
        friend class Cache;
        Result(const Ptr<Table>& table, const Key& key, const Value& value) : m_table(table), m_key(key), m_value(value) {}
        Ptr<Table> m_table;
        Key m_key;
        Value m_value;
    };

    // A handle to the entry of `key`; when there is none, `make()` makes the
    // value (outside the lock) and it is added with use count 1, a null value
    // too (the handle then holds null).
    template <typename Make>
    Ptr<Result> get(const Key& key, Make&& make) const {
        {
            CriticalSectionLock hold(m_table->lock);
            if (Ptr<Result> found = useLocked(key)) return found;
        }
        Value value = make();
        CriticalSectionLock hold(m_table->lock);
        if (Ptr<Result> found = useLocked(key)) return found; // made meanwhile on another thread
        if (m_table->entries.size() >= kMaxEntries) evictOneLocked();
        m_table->entries.emplace(key, Entry{value, 1});
        return Ptr<Result>(new Result(m_table, key, value));
    }

    // Drops every entry; live handles keep their values and, when they go,
    // find no entry and change nothing.
    void clear() {
        CriticalSectionLock hold(m_table->lock);
        m_table->entries.clear();
    }

    size_t size() const {
        CriticalSectionLock hold(m_table->lock);
        return m_table->entries.size();
    }
    bool contains(const Key& key) const {
        CriticalSectionLock hold(m_table->lock);
        return m_table->entries.count(key) != 0;
    }
    // The number of live handles to the entry of `key`; -1 when there is none.
    int32_t useCount(const Key& key) const {
        CriticalSectionLock hold(m_table->lock);
        const auto it = m_table->entries.find(key);
        return it == m_table->entries.end() ? -1 : it->second.useCount;
    }

private:
    Ptr<Result> useLocked(const Key& key) const {
        const auto it = m_table->entries.find(key);
        if (it == m_table->entries.end()) return nullptr;
        ++it->second.useCount;
        return Ptr<Result>(new Result(m_table, it->first, it->second.value));
    }
    void evictOneLocked() const {
        for (auto it = m_table->entries.begin(); it != m_table->entries.end(); ++it)
            if (it->second.useCount <= 0) {
                m_table->entries.erase(it);
                return;
            }
    }

    Ptr<Table> m_table{new Table};
};

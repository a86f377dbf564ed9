#pragma once

#include <corvane/PerfTypes.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <new>
#include <utility>

/**
 * A vector that keeps up to N elements in itself, for lists that nearly always have one or two: these cost no
 * allocation and lie where their owner lies. Named and behaving as std::vector, as far as it goes; a move may move the
 * elements, too.
 */
template <typename T, std::uint32_t N> class InlineVector {
public:
    InlineVector() {} // leaves the room as it is
    InlineVector(std::initializer_list<T> items) { Append(items); }
    InlineVector(InlineVector const& other) { Append(other); }
    InlineVector(InlineVector&& other) noexcept { Take(other); }
    ~InlineVector() { Release(); }
    InlineVector& operator=(InlineVector other) noexcept
    {
        Release();
        Take(other);
        return *this;
    }

    T* begin() { return IsInline() ? reinterpret_cast<T*>(room) : heap; }
    T const* begin() const { return IsInline() ? reinterpret_cast<T const*>(room) : heap; }
    T* end() { return begin() + count; }
    T const* end() const { return begin() + count; }
    std::size_t size() const { return count; }
    bool empty() const { return count == 0; }
    T& operator[](std::size_t position) { return begin()[position]; }
    T const& operator[](std::size_t position) const { return begin()[position]; }

    void reserve(std::size_t wanted)
    {
        if (wanted <= capacity) {
            return;
        }
        T* const memory = static_cast<T*>(::operator new(wanted * sizeof(T)));
        std::uninitialized_move(begin(), end(), memory);
        auto const kept = count;
        Release();
        heap = memory;
        count = kept;
        capacity = static_cast<std::uint32_t>(wanted);
    }

    void push_back(T item)
    {
        if (count == capacity) {
            reserve(2 * static_cast<std::size_t>(capacity));
        }
        new (end()) T(std::move(item));
        ++count;
    }

    void clear() { erase(begin(), end()); }

    /** @param last end(): only the rear leaves. */
    void erase(T* first, T* last)
    {
        std::destroy(first, last);
        count = static_cast<std::uint32_t>(first - begin());
    }

private:
    bool IsInline() const { return capacity == N; }

    /** Expects this to hold nothing, as Take does. */
    template <typename Items> void Append(Items const& items)
    {
        reserve(items.size());
        std::uninitialized_copy(items.begin(), items.end(), begin());
        count = static_cast<std::uint32_t>(items.size());
    }

    void Take(InlineVector& other)
    {
        if (other.IsInline()) {
            std::uninitialized_move(other.begin(), other.end(), begin());
            count = other.count;
            other.Release();
        } else {
            heap = other.heap;
            count = std::exchange(other.count, 0);
            capacity = std::exchange(other.capacity, N);
        }
    }

    void Release()
    {
        clear();
        if (!IsInline()) {
            ::operator delete(heap);
            capacity = N;
        }
    }

    union {
        T* heap; ///< where there are more than N
        alignas(T) unsigned char room[N * sizeof(T)];
    };
    std::uint32_t count = 0;
    std::uint32_t capacity = N;
};

/**
 * An ordered map of few entries that lies where its owner lies. Named and behaving as std::map, as far as it goes, and
 * made from one; many are put in with Append and then Settle, in the time that sorting takes.
 */
template <typename Key, typename Value, std::uint32_t N> class InlineMap {
public:
    using value_type = std::pair<Key, Value>;

    InlineMap() = default;
    InlineMap(std::initializer_list<std::pair<Key const, Value>> items) : InlineMap(std::map<Key, Value>(items)) {}
    template <typename Other> InlineMap(std::map<Key, Other> const& items)
    {
        entries.reserve(items.size());
        for (auto const& [key, value] : items) {
            entries.push_back({key, Value(value)});
        }
    }
    template <typename Other> explicit operator std::map<Key, Other>() const
    {
        std::map<Key, Other> items;
        for (auto const& [key, value] : entries) {
            items.emplace_hint(items.end(), key, Other(value));
        }
        return items;
    }

    // Who goes through with these leaves the keys as they are.
    value_type* begin() { return entries.begin(); }
    value_type* end() { return entries.end(); }
    value_type const* begin() const { return entries.begin(); }
    value_type const* end() const { return entries.end(); }
    std::size_t size() const { return entries.size(); }
    bool empty() const { return entries.empty(); }

    value_type const* find(Key key) const
    {
        return std::find_if(begin(), end(), [key](value_type const& entry) { return entry.first == key; });
    }
    std::size_t count(Key key) const { return find(key) != end() ? 1 : 0; }

    /** Adds an empty value where there is none. */
    Value& operator[](Key key)
    {
        if (count(key) == 0) {
            Append(key, Value());
            Settle([](Value const&, Value const&) {});
        }
        return const_cast<value_type*>(find(key))->second;
    }

    void reserve(std::size_t wanted) { entries.reserve(wanted); }

    /** Adds an entry behind all others. In order again only after Settle. */
    void Append(Key key, Value value) { entries.push_back({key, std::move(value)}); }

    /** @param fold called with the earlier value of a key and each later one, which leaves and may be moved from. */
    template <typename Fold> void Settle(Fold const& fold)
    {
        auto const isUnsettled = [](auto const& left, auto const& right) { return !(left.first < right.first); };
        if (std::adjacent_find(begin(), end(), isUnsettled) == end()) {
            return;
        }
        std::map<Key, Value> sorted;
        for (auto& [key, value] : entries) {
            auto const [place, isNew] = sorted.try_emplace(key, std::move(value));
            if (!isNew) {
                fold(place->second, value);
            }
        }
        InlineVector<value_type, N> settled; // no larger than what is left, for commands keep it
        settled.reserve(sorted.size());
        for (auto& [key, value] : sorted) {
            settled.push_back({key, std::move(value)});
        }
        entries = std::move(settled);
    }

    /** Removes the entries for which the predicate, called in order, says so. */
    template <typename Predicate> void RemoveIf(Predicate const& predicate)
    {
        value_type* kept = begin();
        for (value_type& entry : entries) {
            if (predicate(entry)) {
                continue;
            }
            if (kept != &entry) {
                *kept = std::move(entry);
            }
            ++kept;
        }
        entries.erase(kept, end());
    }

    friend bool operator==(InlineMap const& left, InlineMap const& right)
    {
        return std::equal(left.begin(), left.end(), right.begin(), right.end());
    }

private:
    InlineVector<value_type, N> entries; ///< by ascending key
};

/** At most one boost and one limit value, in this order. */
using PerfValues = InlineMap<PerfOperationType, int, 2>;

/** Group id to values, as a command carries them; ordinarily of one group. */
using PerfGroupValues = InlineMap<unsigned int, PerfValues, 1>;

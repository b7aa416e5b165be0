// list_index.h - finds entries of a list by key without walking it.
//
//  - The list stays the truth: the index answers as a walk from the front would, whatever anybody did to the list.
//  - Between two calls the index shares the list's data (implicit sharing costs one reference). Whoever changes the
//    list un-shares it, so the index sees at its next use, at no cost, that it must look at the list anew.
//  - A key that is changed through a reference taken before the list was shared goes unseen until the entry is met; it
//    then costs a new look at the list, never more.
//  - While the driver itself changes the list it must not be shared, or the change would copy it all: that is what
//    Change is for. Short lists are walked and never shared.
//  - No lock of its own: the caller holds the list's.

#ifndef LIST_INDEX_H
#define LIST_INDEX_H

#include "matsushita_tcpip_net.h"

#include <deque>
#include <unordered_map>
#include <utility>

/// The integers that make up a key.
template <int Parts> struct ListKey {
    qint32 part[Parts];

    bool operator==(const ListKey &other) const
    {
        for (int i = 0; i < Parts; ++i)
            if (part[i] != other.part[i])
                return false;
        return true;
    }

    struct Hash {
        std::size_t operator()(const ListKey &key) const
        {
            quint32 hash = 0;
            for (int i = 0; i < Parts; ++i)
                hash = (hash ^ quint32(key.part[i])) * 0x9E3779B1u;
            return hash ^ hash >> 15;
        }
    };
};

/// \tparam Entry  of the list
/// \tparam KeyOf  has a type Key (a ListKey) and a static function Key of(const Entry &)
template <typename Entry, typename KeyOf> class ListIndex
{
public:
    typedef typename KeyOf::Key Key;
    typedef QList<Entry> List;

    /// A stretch in which the driver changes the list: only through this object, at most one at a time.
    class Change
    {
    public:
        Change(ListIndex &index, List &list)
            : m_index(index), m_list(list), m_current(index.isCurrent(list)), m_found(-1)
        {
            m_index.m_shared = List(); // from here on the list is alone and changes in place
        }
        ~Change()
        {
            if (m_current)
                m_index.m_shared = m_list;
        }

        /// Index of the first entry from \a from (0 or 1) on whose key is \a key; -1 if there is none.
        int find(const Key &key, int from = 0)
        {
            if (m_list.size() < kIndexedFrom)
                return walk(key, from);
            if (!m_current) {
                m_index.rebuild(m_list);
                m_current = true;
            }
            // Neighbours in a run of elements mostly became neighbours in the list.
            const int guess = m_found + 1;
            if (guess >= from && guess < countOf(m_list) && m_index.isFirst(guess) &&
                KeyOf::of(m_list.at(guess)) == key)
                m_found = guess;
            else
                m_found = m_index.find(key, from);
            if (m_found >= 0 && !(KeyOf::of(m_list.at(m_found)) == key)) {
                m_index.rebuild(m_list); // a key was changed through a reference from before the list was shared
                m_found = m_index.find(key, from);
            }
            return m_found;
        }

        void append(const Entry &entry)
        {
            if (m_current)
                m_index.add(KeyOf::of(entry));
            m_list.append(entry);
        }

        void removeFirst()
        {
            if (m_current)
                m_current = m_index.dropFirst(KeyOf::of(m_list.at(0)));
            m_list.removeFirst();
        }

        const Entry &at(int index) const { return m_list.at(index); }

        /// The entry at \a index, to be changed in anything but its key.
        Entry &entry(int index) { return m_list[index]; }

    private:
        Change(const Change &);
        Change &operator=(const Change &);

        int walk(const Key &key, int from) const
        {
            for (int i = from; i < countOf(m_list); ++i)
                if (KeyOf::of(m_list.at(i)) == key)
                    return i;
            return -1;
        }

        ListIndex &m_index;
        List &m_list;
        bool m_current; ///< the index knows the list as it is now
        int m_found;    ///< what the last search answered
    };

    /// Lets go of the list: the driver is about to change it in a way that the index does not follow.
    void forget() { m_shared = List(); }

private:
    enum { kIndexedFrom = 8 };

    /// Positions count every entry that was ever first to last since the index was built; m_removed of them are gone.
    struct Same {
        qint64 first; ///< position of the first entry with the key
        qint64 last;  ///< and of the last
    };

    struct Link {
        qint64 next; ///< position of the next entry with the same key, -1 for none
        bool first;  ///< no entry before it has the key
    };

    bool isCurrent(const List &list) const
    {
        return !m_shared.isEmpty() && m_shared.size() == list.size() && &m_shared.at(0) == &list.at(0);
    }

    void rebuild(const List &list)
    {
        m_same.clear();
        m_links.clear();
        m_removed = 0;
        m_same.reserve(std::size_t(list.size()));
        for (int i = 0; i < countOf(list); ++i)
            add(KeyOf::of(list.at(i)));
    }

    void add(const Key &key)
    {
        const qint64 position = m_removed + qint64(m_links.size());
        const Same alone = {position, position};
        const std::pair<typename SameMap::iterator, bool> placed = m_same.insert(std::make_pair(key, alone));
        if (!placed.second) {
            linkAt(placed.first->second.last).next = position;
            placed.first->second.last = position;
        }
        const Link link = {-1, placed.second};
        m_links.push_back(link);
    }

    /// \return false when the index does not know the entry; it is then of no more use
    bool dropFirst(const Key &key)
    {
        const typename SameMap::iterator same = m_same.find(key);
        if (same == m_same.end() || same->second.first != m_removed)
            return false;
        const qint64 next = m_links.front().next;
        if (next < 0) {
            m_same.erase(same);
        } else {
            same->second.first = next;
            linkAt(next).first = true;
        }
        m_links.pop_front();
        ++m_removed;
        return true;
    }

    bool isFirst(int index) const { return m_links[std::size_t(index)].first; }

    int find(const Key &key, int from) const
    {
        const typename SameMap::const_iterator same = m_same.find(key);
        if (same == m_same.end())
            return -1;
        qint64 position = same->second.first;
        if (position - m_removed < from)
            position = m_links.front().next;
        return position < 0 ? -1 : int(position - m_removed);
    }

    Link &linkAt(qint64 position) { return m_links[std::size_t(position - m_removed)]; }

    typedef std::unordered_map<Key, Same, typename Key::Hash> SameMap;

    List m_shared;            ///< shares the data of the list as the index knows it; empty: knows nothing
    SameMap m_same;           ///< where each key stands
    std::deque<Link> m_links; ///< one per entry of the list
    qint64 m_removed = 0;     ///< entries taken from the front since the index was built
};

#endif

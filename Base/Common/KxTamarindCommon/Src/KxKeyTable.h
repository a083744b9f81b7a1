// A hash table from a key to the chain of records with that key
// (library-internal).
//
// Keys of the registry lists are not unique, and every look-up must find the
// first matching record in list order. So the table maps each key to the
// first node of a chain: a circular, doubly linked ring through the nodes of
// all records with that key, in list order (the first node's `prev` is the
// last one). The chains run through the nodes themselves (links number K
// of each node, K set once with SetKind), so the table holds one slot per
// distinct key.
//
// Open addressing with linear probing; a slot keeps the key's hash beside
// the chain's first node, so that a probe reads a record only on a hash
// match. A slot is two words wide. The table grows (doubling) before it is three quarters full and
// shrinks when it is mostly empty. Only Reserve allocates; it may throw
// std::bad_alloc, and then nothing has changed. Thread safety: none.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace KxTamarind {
namespace KxIndex {

// Node: a type with a list iterator `it` and arrays `Node* next[]` and
// `Node* prev[]`; the table's chains use next[K] and prev[K]. The `same`
// predicates below are given the record of a chain's first node.
template <class Node>
class KeyTable {
public:
    typedef decltype(Node::it) Iterator;

    KeyTable() = default;
    KeyTable(const KeyTable&) = delete;
    KeyTable& operator=(const KeyTable&) = delete;

    void SetKind(int kind) { K = kind; }

    std::size_t Count() const { return m_count; }

    // Room for one more key without growing; throws std::bad_alloc.
    void Reserve() {
        if ((m_count + 1) * 4 > Capacity() * 3) {
            Rehash(Capacity() == 0 ? 8 : 2 * Capacity(), true);
        }
    }

    // The first node of the chain of the key with this hash for which
    // `same(record)` holds, or null; HeadIterator: its iterator, or `none`.
    template <class Same>
    Node* Head(std::uint32_t hash, Same same) const {
        const Slot* slot = Find(hash, same);
        return slot != nullptr ? slot->head : nullptr;
    }
    template <class Same>
    Iterator HeadIterator(std::uint32_t hash, Same same, Iterator none) const {
        const Slot* slot = Find(hash, same);
        return slot != nullptr ? slot->head->it : none;
    }

    // Adds `node` to the chain of its key, or starts a chain. `before(a, b)`
    // tells whether node a comes before node b in list order; `last` says
    // that the node is the list's last record, which puts it at the end of
    // its chain without asking. Call Reserve first.
    template <class Same, class Before>
    void Link(Node* node, std::uint32_t hash, Same same, Before before, bool last) {
        Slot* slot = Find(hash, same);
        if (slot == nullptr) {
            node->next[K] = node->prev[K] = node;
            Place(Slot{node, hash});
            ++m_count;
            return;
        }
        Node* head = slot->head;
        Node* at = head; // the node to link in front of; head again means at the end
        if (!last && !before(head->prev[K], node)) {
            // Somewhere before the chain's last node: walk from its first.
            while (before(at, node)) {
                at = at->next[K];
            }
            if (at == head) {
                slot->head = node;
            }
        }
        node->next[K] = at;
        node->prev[K] = at->prev[K];
        at->prev[K]->next[K] = node;
        at->prev[K] = node;
    }

    // Takes `node` out of its chain (the chain of the key with this hash for
    // which `same` holds of its nodes); a chain that becomes empty gives up
    // its slot. Never throws.
    template <class Same>
    void Unlink(Node* node, std::uint32_t hash, Same same) {
        Slot* slot = Find(hash, same);
        if (slot == nullptr) {
            return;
        }
        if (node->next[K] == node) {
            Remove(slot);
            return;
        }
        if (slot->head == node) {
            slot->head = node->next[K];
        }
        node->prev[K]->next[K] = node->next[K];
        node->next[K]->prev[K] = node->prev[K];
        node->next[K] = node->prev[K] = node;
    }

private:
    struct Slot {
        Node* head; // null: a free slot
        std::uint32_t hash;
    };

    std::size_t Capacity() const { return m_slots ? m_mask + 1 : 0; }

    template <class Same>
    Slot* Find(std::uint32_t hash, Same same) const {
        if (!m_slots) {
            return nullptr;
        }
        for (std::size_t i = hash & m_mask;; i = (i + 1) & m_mask) {
            Slot& slot = m_slots[i];
            if (slot.head == nullptr) {
                return nullptr;
            }
            if (slot.hash == hash && same(*slot.head->it)) {
                return &slot;
            }
        }
    }

    void Place(const Slot& entry) {
        std::size_t i = entry.hash & m_mask;
        while (m_slots[i].head != nullptr) {
            i = (i + 1) & m_mask;
        }
        m_slots[i] = entry;
    }

    // Frees a slot and moves back the entries after it that probed past it,
    // so that no search stops early at the gap.
    void Remove(Slot* slot) {
        std::size_t gap = static_cast<std::size_t>(slot - m_slots.get());
        m_slots[gap].head = nullptr;
        --m_count;
        for (std::size_t i = (gap + 1) & m_mask; m_slots[i].head != nullptr; i = (i + 1) & m_mask) {
            const std::size_t home = m_slots[i].hash & m_mask;
            // Movable when its home is not in the cyclic range (gap, i].
            const bool between = gap < i ? (home > gap && home <= i) : (home > gap || home <= i);
            if (!between) {
                m_slots[gap] = m_slots[i];
                m_slots[i].head = nullptr;
                gap = i;
            }
        }
        if (Capacity() > 8 && m_count * 8 < Capacity()) {
            Rehash(Capacity() / 2, false);
        }
    }

    // A new slot array of `capacity` (a power of two); when `mustSucceed`
    // is false, a failed allocation keeps the old one.
    void Rehash(std::size_t capacity, bool mustSucceed) {
        std::unique_ptr<Slot[]> slots(mustSucceed ? new Slot[capacity]()
                                                  : new (std::nothrow) Slot[capacity]());
        if (!slots) {
            return;
        }
        std::unique_ptr<Slot[]> old = std::move(m_slots);
        const std::size_t oldCapacity = old ? m_mask + 1 : 0;
        m_slots = std::move(slots);
        m_mask = capacity - 1;
        for (std::size_t i = 0; i < oldCapacity; ++i) {
            if (old[i].head != nullptr) {
                Place(old[i]);
            }
        }
    }

    std::unique_ptr<Slot[]> m_slots;
    std::size_t m_mask = 0;
    std::size_t m_count = 0;
    int K = 0;
};

} // namespace KxIndex
} // namespace KxTamarind

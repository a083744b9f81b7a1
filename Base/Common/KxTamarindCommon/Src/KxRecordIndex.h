// The index beside a registry list (library-internal).
//
// CObjectList and CInterfaceList keep their records in a std::list, whose
// order, iterators and ring of positions are part of their contract. The
// RecordIndex answers the questions that would otherwise walk that list:
//
// - the first record in list order with a given key: a KeyTable per key
//   kind (Traits::kKinds of them; for the object list the ObjectGuid alone,
//   for look-ups with any instance, and the pair ObjectGuid, InstanceNumber;
//   for the interface list the Iid);
// - the position of a record, the record at a position, and where a
//   sort-index insertion lands: an OrderTree in list order.
//
// Each record has one node, which carries its list iterator, its place in
// the tree and its links in the key chains. The list and the index change
// together, under the list's lock: Insert right after a record entered the
// list, Erase right before it leaves. Records must not change their keys or
// sort index while they are in the list.
//
// Memory: one node per record (the tree links, the iterator and two links
// per key kind) and about two table slots per distinct key.
//
// Traits (static members):
//   kKinds, kNodeKind: the number of key kinds, and the most selective one;
//   Hash(const Record&, int kind), Same(const Record&, const Record&, int kind);
//   SortKey(const Record&): the key FirstAbove compares (0 where none).
//
// Failures: NewNode and Reserve may throw std::bad_alloc, and are called
// before anything changes; everything else never throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>

#include "KxKeyTable.h"
#include "KxOrderTree.h"
#include "KxRingPosition.h"

namespace KxTamarind {
namespace KxIndex {

template <class Records, class Traits>
class RecordIndex {
public:
    typedef typename Records::iterator iterator;
    typedef typename Records::value_type Record;
    static constexpr int kKinds = Traits::kKinds;

    struct Node : OrderNode {
        iterator it;
        Node* next[kKinds];
        Node* prev[kKinds];
    };
    typedef std::unique_ptr<Node> NodePtr;

    // Moves of at most this many links are walked on the list itself.
    static constexpr std::size_t kWalk = 8;

    explicit RecordIndex(Records& records)
        : m_records(records),
          m_tree(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(this) >> 4)) {
        for (int kind = 0; kind < kKinds; ++kind) {
            m_tables[kind].SetKind(kind);
        }
    }
    RecordIndex(const RecordIndex&) = delete;
    RecordIndex& operator=(const RecordIndex&) = delete;
    ~RecordIndex() {
        m_tree.Clear([](OrderNode* node) { delete static_cast<Node*>(node); });
    }

    // A node for the next Insert; made before the list's lock is taken.
    static NodePtr NewNode() { return NodePtr(new Node()); }

    // Room for one more record in the tables.
    void Reserve() {
        for (KeyTable<Node>& table : m_tables) {
            table.Reserve();
        }
    }

    // Indexes `it`, which has just entered the list in front of the record
    // of `before` (null: at the end).
    void Insert(NodePtr node, iterator it, Node* before) {
        Node* n = node.release();
        n->it = it;
        n->key = Traits::SortKey(*it);
        m_tree.InsertBefore(n, before);
        const Record& record = *it;
        for (int kind = 0; kind < kKinds; ++kind) {
            m_tables[kind].Link(
                n, Traits::Hash(record, kind),
                [&](const Record& other) { return Traits::Same(other, record, kind); },
                [this](Node* a, Node* b) { return m_tree.Rank(a) < m_tree.Rank(b); },
                before == nullptr);
        }
    }

    // Forgets `it`, which is about to leave the list.
    void Erase(iterator it) {
        Node* node = NodeOf(it);
        if (node == nullptr) {
            return;
        }
        const Record& record = *it;
        for (int kind = 0; kind < kKinds; ++kind) {
            m_tables[kind].Unlink(node, Traits::Hash(record, kind), [&](const Record& other) {
                return Traits::Same(other, record, kind);
            });
        }
        m_tree.Erase(node);
        delete node;
    }

    // The node of `it` (a record of the list), found through the chain of
    // its most selective key; null if it is not indexed.
    Node* NodeOf(iterator it) const {
        const int kind = Traits::kNodeKind;
        const Record& record = *it;
        Node* head = m_tables[kind].Head(Traits::Hash(record, kind), [&](const Record& other) {
            return Traits::Same(other, record, kind);
        });
        if (head != nullptr) {
            Node* node = head;
            do {
                if (node->it == it) {
                    return node;
                }
                node = node->next[kind];
            } while (node != head);
        }
        return nullptr;
    }

    // The first record in list order of key kind `kind` with this hash for
    // which `matches(record)` holds, or the list's end.
    template <class Matches>
    iterator Find(int kind, std::uint32_t hash, Matches matches) const {
        return m_tables[kind].HeadIterator(hash, matches, m_records.end());
    }

    // Where a record with this sort index is inserted (see
    // CObjectList::FindIndexForInsert): the node to insert in front of, null
    // for an empty list.
    Node* InsertionNode(long sortKey) const {
        OrderNode* above = m_tree.FirstAbove(sortKey);
        if (above == nullptr) {
            return static_cast<Node*>(m_tree.Last());
        }
        OrderNode* previous = OrderTree::Prev(above);
        return static_cast<Node*>(previous != nullptr ? previous : above);
    }

    iterator IteratorOf(Node* node) const { return node != nullptr ? node->it : m_records.end(); }

    // The position n steps from `from` on the ring of count + 1 positions.
    // Short moves walk the list; longer ones count positions in the tree.
    iterator Step(iterator from, long n) const {
        const std::size_t count = m_tree.Size();
        const std::size_t forward = KxRing::ForwardDistance(n, count);
        const std::size_t backward = forward == 0 ? 0 : count + 1 - forward;
        if (forward <= kWalk || backward <= kWalk) {
            return KxRing::Step(m_records, from, n);
        }
        std::size_t rank = count;
        if (from != m_records.end()) {
            Node* node = NodeOf(from);
            if (node == nullptr) {
                return KxRing::Step(m_records, from, n);
            }
            rank = m_tree.Rank(node);
        }
        const std::size_t target = (rank + forward) % (count + 1);
        return target == count ? m_records.end() : static_cast<Node*>(m_tree.At(target))->it;
    }

private:
    Records& m_records;
    OrderTree m_tree;
    KeyTable<Node> m_tables[kKinds];
};

} // namespace KxIndex
} // namespace KxTamarind

// The order of a registry list as a balanced tree (library-internal).
//
// A registry list (CObjectList, CInterfaceList) is a std::list whose order
// must stay exactly as it is. Beside it, an OrderTree holds one node per
// record, arranged in the same order, so that questions about that order
// cost O(log n) instead of a walk: the position of a record, the record at a
// position, which of two records comes first, and the first record whose
// sort key exceeds a value (where a sort-index insertion lands).
//
// The tree is a treap: in-order it is the list order; each node also carries
// a random priority kept in heap order, which keeps the expected depth
// logarithmic whatever the order of insertions and removals. Each node
// counts the nodes below it (for positions) and the greatest sort key below
// it (for FirstAbove).
//
// Ownership: the tree links nodes that its user allocates and frees; it
// allocates nothing and never throws. Thread safety: none; the lists use it
// under their own lock.
#pragma once

#include <cstddef>
#include <cstdint>

namespace KxTamarind {
namespace KxIndex {

struct OrderNode {
    OrderNode* left = nullptr;
    OrderNode* right = nullptr;
    OrderNode* parent = nullptr;
    std::uint32_t size = 1; // nodes in this subtree
    std::uint32_t priority = 0;
    long key = 0;    // the record's sort key (its SortIndex; 0 where there is none)
    long maxKey = 0; // the greatest key in this subtree
};

class OrderTree {
public:
    explicit OrderTree(std::uint32_t seed) : m_seed(seed != 0 ? seed : 0x9E3779B9u) {}
    OrderTree(const OrderTree&) = delete;
    OrderTree& operator=(const OrderTree&) = delete;

    std::size_t Size() const { return m_root != nullptr ? m_root->size : 0; }

    // Links `node` (its key set, its links unset) just before `position`,
    // or at the end for a null position.
    void InsertBefore(OrderNode* node, OrderNode* position);
    // Unlinks `node`; the caller frees it.
    void Erase(OrderNode* node);

    // The number of nodes before `node`.
    std::size_t Rank(const OrderNode* node) const;
    // The node with `rank` nodes before it; null when rank >= Size().
    OrderNode* At(std::size_t rank) const;
    // The first node in order whose key is greater than `key`, or null.
    OrderNode* FirstAbove(long key) const;
    // The first and last nodes in order (null when empty), and the nodes
    // after and before `node` (null past either end).
    OrderNode* First() const;
    OrderNode* Last() const;
    static OrderNode* Next(const OrderNode* node);
    static OrderNode* Prev(const OrderNode* node);

    // Unlinks every node, children before their parents, handing each to
    // `dispose` (which may free it); the tree is empty afterwards.
    template <class Dispose>
    void Clear(Dispose dispose) {
        OrderNode* node = m_root;
        while (node != nullptr) {
            if (node->left != nullptr) {
                node = node->left;
            } else if (node->right != nullptr) {
                node = node->right;
            } else {
                OrderNode* parent = node->parent;
                if (parent != nullptr) {
                    (parent->left == node ? parent->left : parent->right) = nullptr;
                }
                dispose(node);
                node = parent;
            }
        }
        m_root = nullptr;
    }

private:
    std::uint32_t NextPriority();
    static void Update(OrderNode* node);
    void UpdateUpwards(OrderNode* node);
    // Turns `node` and its parent around, so that `node` takes its parent's
    // place; the in-order sequence stays the same.
    void RotateUp(OrderNode* node);
    void Replace(OrderNode* node, OrderNode* by);

    OrderNode* m_root = nullptr;
    std::uint32_t m_seed;
};

} // namespace KxIndex
} // namespace KxTamarind

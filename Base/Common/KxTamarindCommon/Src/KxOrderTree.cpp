// The order of a registry list as a balanced tree; see KxOrderTree.h.
#include "KxOrderTree.h"

namespace KxTamarind {
namespace KxIndex {

namespace {
std::uint32_t SizeOf(const OrderNode* node) {
    return node != nullptr ? node->size : 0;
}
} // namespace

std::uint32_t OrderTree::NextPriority() {
    // xorshift32: cheap, and random enough to balance the tree.
    m_seed ^= m_seed << 13;
    m_seed ^= m_seed >> 17;
    m_seed ^= m_seed << 5;
    return m_seed;
}

void OrderTree::Update(OrderNode* node) {
    node->size = 1 + SizeOf(node->left) + SizeOf(node->right);
    long maxKey = node->key;
    if (node->left != nullptr && node->left->maxKey > maxKey) {
        maxKey = node->left->maxKey;
    }
    if (node->right != nullptr && node->right->maxKey > maxKey) {
        maxKey = node->right->maxKey;
    }
    node->maxKey = maxKey;
}

void OrderTree::UpdateUpwards(OrderNode* node) {
    for (; node != nullptr; node = node->parent) {
        Update(node);
    }
}

void OrderTree::Replace(OrderNode* node, OrderNode* by) {
    OrderNode* parent = node->parent;
    if (parent == nullptr) {
        m_root = by;
    } else if (parent->left == node) {
        parent->left = by;
    } else {
        parent->right = by;
    }
    if (by != nullptr) {
        by->parent = parent;
    }
}

void OrderTree::RotateUp(OrderNode* node) {
    OrderNode* parent = node->parent;
    Replace(parent, node);
    if (parent->left == node) {
        parent->left = node->right;
        if (node->right != nullptr) {
            node->right->parent = parent;
        }
        node->right = parent;
    } else {
        parent->right = node->left;
        if (node->left != nullptr) {
            node->left->parent = parent;
        }
        node->left = parent;
    }
    parent->parent = node;
    Update(parent);
    Update(node);
}

void OrderTree::InsertBefore(OrderNode* node, OrderNode* position) {
    node->left = node->right = nullptr;
    node->size = 1;
    node->maxKey = node->key;
    node->priority = NextPriority();
    // The place of the new leaf: the left child of `position` if that is
    // free, else the right child of its predecessor; at the end, the right
    // child of the last node.
    OrderNode* parent = nullptr;
    bool asLeft = false;
    if (position == nullptr) {
        for (OrderNode* n = m_root; n != nullptr; n = n->right) {
            parent = n;
        }
    } else if (position->left == nullptr) {
        parent = position;
        asLeft = true;
    } else {
        parent = position->left;
        while (parent->right != nullptr) {
            parent = parent->right;
        }
    }
    node->parent = parent;
    if (parent == nullptr) {
        m_root = node;
    } else if (asLeft) {
        parent->left = node;
    } else {
        parent->right = node;
    }
    UpdateUpwards(parent);
    while (node->parent != nullptr && node->parent->priority < node->priority) {
        RotateUp(node);
    }
}

void OrderTree::Erase(OrderNode* node) {
    // Rotate the node down until it has at most one child, then splice it
    // out; every node whose subtree changed lies on the way back up.
    while (node->left != nullptr && node->right != nullptr) {
        RotateUp(node->left->priority > node->right->priority ? node->left : node->right);
    }
    OrderNode* child = node->left != nullptr ? node->left : node->right;
    OrderNode* parent = node->parent;
    Replace(node, child);
    UpdateUpwards(parent);
    node->left = node->right = node->parent = nullptr;
}

std::size_t OrderTree::Rank(const OrderNode* node) const {
    std::size_t rank = SizeOf(node->left);
    for (const OrderNode* n = node; n->parent != nullptr; n = n->parent) {
        if (n->parent->right == n) {
            rank += SizeOf(n->parent->left) + 1;
        }
    }
    return rank;
}

OrderNode* OrderTree::At(std::size_t rank) const {
    OrderNode* node = m_root;
    while (node != nullptr) {
        const std::size_t left = SizeOf(node->left);
        if (rank < left) {
            node = node->left;
        } else if (rank == left) {
            return node;
        } else {
            rank -= left + 1;
            node = node->right;
        }
    }
    return nullptr;
}

OrderNode* OrderTree::FirstAbove(long key) const {
    OrderNode* node = m_root;
    if (node == nullptr || node->maxKey <= key) {
        return nullptr;
    }
    // Invariant: the subtree of `node` holds a key above `key`.
    for (;;) {
        if (node->left != nullptr && node->left->maxKey > key) {
            node = node->left;
        } else if (node->key > key) {
            return node;
        } else {
            node = node->right;
        }
    }
}

OrderNode* OrderTree::First() const {
    OrderNode* node = m_root;
    while (node != nullptr && node->left != nullptr) {
        node = node->left;
    }
    return node;
}

OrderNode* OrderTree::Last() const {
    OrderNode* node = m_root;
    while (node != nullptr && node->right != nullptr) {
        node = node->right;
    }
    return node;
}

OrderNode* OrderTree::Prev(const OrderNode* node) {
    if (node->left != nullptr) {
        OrderNode* prev = node->left;
        while (prev->right != nullptr) {
            prev = prev->right;
        }
        return prev;
    }
    while (node->parent != nullptr && node->parent->left == node) {
        node = node->parent;
    }
    return node->parent;
}

OrderNode* OrderTree::Next(const OrderNode* node) {
    if (node->right != nullptr) {
        OrderNode* next = node->right;
        while (next->left != nullptr) {
            next = next->left;
        }
        return next;
    }
    while (node->parent != nullptr && node->parent->right == node) {
        node = node->parent;
    }
    return node->parent;
}

} // namespace KxIndex
} // namespace KxTamarind

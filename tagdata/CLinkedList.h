#pragma once

#include "tagdata/CTagException.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>

/**
 * Doubly linked list of pointers to elements, front index 0.
 *
 * The list owns its nodes, its user owns the elements and deletes them (see ListOwner). No lock: a
 * list belongs to the code that made it.
 */
template <class T>
class CLinkedList {
public:
    struct Node {
        Node* Prev; ///< towards the front, null on the first node
        Node* Next; ///< towards the rear, null on the last node
        T* Data;
    };

    /** Walks from front to rear. Adding keeps it valid, removing its element does not. */
    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T*;
        using difference_type = std::ptrdiff_t;
        using pointer = T* const*;
        using reference = T* const&;

        Iterator() = default;
        explicit Iterator(Node const* node) : mNode(node) {}

        reference operator*() const { return mNode->Data; }
        pointer operator->() const { return &mNode->Data; }
        Iterator& operator++() {
            mNode = mNode->Next;
            return *this;
        }
        Iterator operator++(int) {
            Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(Iterator const& other) const { return mNode == other.mNode; }
        bool operator!=(Iterator const& other) const { return mNode != other.mNode; }

    private:
        Node const* mNode = nullptr;
    };

    CLinkedList() = default;
    CLinkedList(CLinkedList const&) = delete;
    CLinkedList& operator=(CLinkedList const&) = delete;
    /** Frees the nodes that are left, never an element. */
    ~CLinkedList();

    /** Appends an element. */
    void AddRear(T* element);
    /** Puts an element before all others. */
    void AddFront(T* element);

    /** Number of elements; walks the list once after each change. */
    unsigned long Count();

    /**
     * The element at an index, in a walk from the front: use begin() and end() to visit all.
     *
     * An index equal to the count is let through. It names no element and gives a null pointer.
     * @throws CTagException* with ExBadIndex if the index is greater than the count
     */
    T* PeekAt(unsigned long index);

    /** Takes the first element out. @throws CTagException* with ExEmptyList if there is none */
    T* RemoveFront();
    /** Takes the last element out. @throws CTagException* with ExEmptyList if there is none */
    T* RemoveRear();

    Iterator begin() const { return Iterator(Front); }
    Iterator end() const { return Iterator(); }

    Node* Front = nullptr;
    Node* Rear = nullptr;
    std::uint32_t ItemCount = 0; ///< 0 until Count() has walked a list that is not empty

private:
    using Link = Node* Node::*;

    void add(T* element, Node*& end, Node*& oppositeEnd, Link outward, Link inward);
    T* remove(Node*& end, Node*& oppositeEnd, Link outward, Link inward, char const* refusal);
};

/** Deletes a list together with its elements. */
template <class T>
struct ListDeleter {
    void operator()(CLinkedList<T>* list) const {
        while (list->Front != nullptr) {
            std::unique_ptr<T> const dropped(list->RemoveFront());
        }
        std::unique_ptr<CLinkedList<T>> const emptied(list);
    }
};

/** Holds a list and its elements while a function works on them. */
template <class T>
using ListOwner = std::unique_ptr<CLinkedList<T>, ListDeleter<T>>;

template <class T>
ListOwner<T> makeList() {
    return ListOwner<T>(std::make_unique<CLinkedList<T>>().release());
}

template <class T>
CLinkedList<T>::~CLinkedList() {
    while (Front != nullptr) {
        RemoveFront();
    }
}

template <class T>
void CLinkedList<T>::AddRear(T* element) {
    add(element, Rear, Front, &Node::Next, &Node::Prev);
}

template <class T>
void CLinkedList<T>::AddFront(T* element) {
    add(element, Front, Rear, &Node::Prev, &Node::Next);
}

/** Adds at one end; outward is the link that leads from a node towards that end. */
template <class T>
void CLinkedList<T>::add(T* element, Node*& end, Node*& oppositeEnd, Link outward, Link inward) {
    ItemCount = 0;
    auto node = std::make_unique<Node>(Node{nullptr, nullptr, element});
    (*node).*inward = end;
    Node*& linkToNewNode = end == nullptr ? oppositeEnd : end->*outward;
    linkToNewNode = node.get();
    end = node.release();
}

template <class T>
unsigned long CLinkedList<T>::Count() {
    if (ItemCount == 0) {
        for (Node const* node = Front; node != nullptr; node = node->Next) {
            ++ItemCount;
        }
    }
    return ItemCount;
}

template <class T>
T* CLinkedList<T>::PeekAt(unsigned long index) {
    // Greater, not greater or equal: the message says exactly what is tested.
    // Test: CLinkedList.PeekAtTheCountPassesTheBoundTest.
    if (index > Count()) {
        throwTagException(CTagException::ExBadIndex, "Index greater than list count");
    }
    Node const* node = Front;
    for (; index > 0; --index) {
        node = node->Next;
    }
    return node == nullptr ? nullptr : node->Data;
}

template <class T>
T* CLinkedList<T>::RemoveFront() {
    return remove(Front, Rear, &Node::Prev, &Node::Next,
                  "RemoveFront invalid operation on empty list");
}

template <class T>
T* CLinkedList<T>::RemoveRear() {
    return remove(Rear, Front, &Node::Next, &Node::Prev,
                  "RemoveRear invalid operation on empty list");
}

template <class T>
T* CLinkedList<T>::remove(Node*& end, Node*& oppositeEnd, Link outward, Link inward,
                          char const* refusal) {
    ItemCount = 0;
    if (end == nullptr) {
        throwTagException(CTagException::ExEmptyList, refusal);
    }
    std::unique_ptr<Node> const removed(end);
    end = (*removed).*inward;
    Node*& linkToRemoved = end == nullptr ? oppositeEnd : end->*outward;
    linkToRemoved = nullptr;
    return removed->Data;
}

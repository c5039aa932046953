#pragma once

#include "tagdata/CLinkedList.h"

/** Last in, first out, over one list. Its user owns the elements, also those still on it. */
template <class T>
class CStack {
public:
    CStack() : mList(std::make_unique<CLinkedList<T>>()) {}

    /** Puts an element on top. */
    void Push(T* element) { mList->AddFront(element); }

    /** Takes the top element off. @throws CTagException* like RemoveFront */
    T* Pop() { return mList->RemoveFront(); }

    /** The elements from the top down; the stack keeps the list. */
    CLinkedList<T>* List() const { return mList.get(); }

private:
    std::unique_ptr<CLinkedList<T>> mList;
};

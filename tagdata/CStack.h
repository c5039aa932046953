#pragma once

#include "tagdata/CLinkedList.h"

/** Last in, first out, over one list. Owns the elements that are still on it. */
template <class T>
class CStack {
public:
    CStack() : mList(makeList<T>()) {}

    /** Puts an element on top and takes it over. */
    void Push(T* element) { mList->AddFront(element); }

    /** Takes the top element off and hands it over. @throws CTagException* like RemoveFront */
    T* Pop() { return mList->RemoveFront(); }

    /** The elements from the top down; the stack keeps the list. */
    CLinkedList<T>* List() const { return mList.get(); }

private:
    ListOwner<T> mList;
};

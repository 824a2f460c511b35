// list.cpp - the library's one sequence type: a doubly linked list of
// untyped data pointers whose header and elements live in a memory handle.
//
// Exports ListAppend, ListDelete, ListCount, ListFirst, ListLast, ListNext,
// ListPrior, ListData, ListRewrite, ListMerge and ListEnumerate.
//
// Representation: a List header (first, last, count) and ListElements (data,
// next, prior), each an ordinary block of the handle passed to ListAppend.
// A null List pointer is an empty list. The list never frees its data; it is
// never freed on its own either, but goes with its memory handle.
#include "kxsupp/memory.h"

extern "C" {

// The element is made before the header. When either allocation fails the
// list is returned as it was (null when it did not exist yet).
KX_API List *ListAppend(void *data, List *list, MemHandle *handle)
{
    ListElement *element =
        static_cast<ListElement *>(kx_mem_alloc(handle, sizeof(ListElement)));
    if (element == nullptr)
        return list;
    if (list == nullptr) {
        list = static_cast<List *>(kx_mem_alloc(handle, sizeof(List)));
        if (list == nullptr) {
            kx_mem_free(handle, element);
            return nullptr;
        }
        list->first = nullptr;
        list->last = nullptr;
        list->count = 0;
    }
    element->data = data;
    element->next = nullptr;
    element->prior = list->last;
    if (list->last == nullptr)
        list->first = element;
    else
        list->last->next = element;
    list->last = element;
    list->count++;
    return list;
}

KX_API ListElement *ListDelete(List *list, ListElement *element,
                               MemHandle *handle)
{
    if (list == nullptr || list->count < 1 || element == nullptr)
        return nullptr;
    list->count--;
    ListElement *next = element->next;
    ListElement *prior = element->prior;
    if (prior != nullptr)
        prior->next = next;
    else
        list->first = next;
    if (next != nullptr)
        next->prior = prior;
    if (list->last == element)
        list->last = prior;
    kx_mem_free(handle, element);
    return next;
}

KX_API int32_t ListCount(const List *list)
{
    return list != nullptr ? list->count : 0;
}

KX_API ListElement *ListFirst(const List *list)
{
    return list != nullptr ? list->first : nullptr;
}

KX_API ListElement *ListLast(const List *list)
{
    return list != nullptr ? list->last : nullptr;
}

KX_API ListElement *ListNext(const ListElement *element)
{
    return element != nullptr ? element->next : nullptr;
}

KX_API ListElement *ListPrior(const ListElement *element)
{
    return element != nullptr ? element->prior : nullptr;
}

KX_API void *ListData(const ListElement *element)
{
    return element != nullptr ? element->data : nullptr;
}

KX_API void ListRewrite(ListElement *element, void *data)
{
    if (element != nullptr)
        element->data = data;
}

// b's chain is linked after a's; b's header is left as it stands. An empty
// list on either side merges as the other one.
KX_API List *ListMerge(List *a, List *b)
{
    if (a == nullptr)
        return b;
    if (b == nullptr || b->first == nullptr)
        return a;
    if (a->first == nullptr || a->last == nullptr) {
        a->first = b->first;
        a->last = b->last;
        a->count = b->count;
        return a;
    }
    a->last->next = b->first;
    b->first->prior = a->last;
    a->last = b->last;
    a->count += b->count;
    return a;
}

KX_API void ListEnumerate(List *list, ListCallback callback, void *context)
{
    if (list == nullptr || callback == nullptr)
        return;
    for (ListElement *element = list->first; element != nullptr;) {
        ListElement *next = element->next;
        callback(element->data, context, next == nullptr ? 1 : 0);
        element = next;
    }
}

}  // extern "C"

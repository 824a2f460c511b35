// nodes: the constructors of Value records and parse-tree nodes.
//
// Exports newNode (zero-filled nodes of a cached kind). Every node's first
// word is its kind; a Value additionally records the memory handle it
// lives in.
#include <cstring>

#include "kxsupp/memory.h"
#include "kxsupp/values.h"

extern "C" {

KX_API void *newNode(size_t size, uint32_t kind, MemHandle *handle)
{
    void *node = kx_mem_alloc_node(handle, size, static_cast<int32_t>(kind));
    if (node == nullptr)
        return nullptr;
    std::memset(node, 0, size);
    static_cast<uint32_t *>(node)[0] = kind;
    if (kind == NODE_VALUE && size >= sizeof(Value))
        static_cast<Value *>(node)->mem_handle = handle;
    return node;
}

}  // extern "C"

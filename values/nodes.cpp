// nodes: the constructors of Value records and parse-tree nodes.
//
// Exports newNode (zero-filled nodes of a cached kind), NewValue (Value
// records with an optional inline text area) and extract_select (a step
// from a query node to its select node). Every node's first word is its
// kind; a Value additionally records the memory handle it lives in.
//
// A Value made with text room carries its text right after the record, in
// the same allocation: short texts (up to 127 octets with the terminator)
// share one fixed-size cached kind, NODE_VALUE_INLINE (166), whose blocks
// are the record plus 128 octets, so the most common value costs one
// recycled block.
#include <cstring>

#include "kxsupp/memory.h"
#include "kxsupp/values.h"
#include "values/values_internal.h"

namespace {

using kx::kInlineTextRoom;

// Word positions of a parse node, counted from 1 as the node layouts are:
// word 1 is the kind, word N (N >= 2) is field[N - 2].
constexpr int kSelectWord = 5;
constexpr int kQueryWord = 9;
constexpr uint32_t kKindQueryExpression = 138;

intptr_t node_word(const ParseNode *node, int word)
{
    return node->field[word - 2];
}

// A zero record to copy from; see newNode.
const Value kZeroValue{};

}  // namespace

extern "C" {

KX_API void *newNode(size_t size, uint32_t kind, MemHandle *handle)
{
    void *node = kx_mem_alloc_node(handle, size, static_cast<int32_t>(kind));
    if (node == nullptr)
        return nullptr;
    // Value records are the most common nodes: a fixed-size copy of a zero
    // record clears them in a few vector stores where memset of an unknown
    // size would not.
    if (size == sizeof(Value))
        std::memcpy(node, &kZeroValue, sizeof(Value));
    else
        std::memset(node, 0, size);
    // a block too small for its kind word keeps only the zeros
    if (size >= sizeof(uint32_t))
        static_cast<uint32_t *>(node)[0] = kind;
    if (kind == NODE_VALUE && size >= sizeof(Value))
        static_cast<Value *>(node)->mem_handle = handle;
    return node;
}

KX_API Value *NewValue(MemHandle *handle, int32_t text_length)
{
    Value *value;
    if (text_length < 0)
        return nullptr;
    if (text_length == 0) {
        value = static_cast<Value *>(
            kx_mem_alloc_node(handle, sizeof(Value), NODE_VALUE));
        if (value == nullptr)
            return nullptr;
    } else {
        if (text_length < kInlineTextRoom)
            value = static_cast<Value *>(kx_mem_alloc_node(
                handle, sizeof(Value) + kInlineTextRoom, NODE_VALUE_INLINE));
        else
            value = static_cast<Value *>(kx_mem_alloc(
                handle, sizeof(Value) + static_cast<size_t>(text_length)));
        if (value == nullptr)
            return nullptr;
        value->payload.text = reinterpret_cast<char *>(value + 1);
        value->inline_buffer = 1;
    }
    value->kind = NODE_VALUE;
    value->mem_handle = handle;
    value->ref_count = 0;
    return value;
}

KX_API ParseNode *extract_select(const ParseNode *node)
{
    if (node == nullptr)
        return nullptr;
    if (node->kind == kKindQueryExpression) {
        const ParseNode *query =
            reinterpret_cast<const ParseNode *>(node_word(node, kQueryWord));
        if (query == nullptr)
            return nullptr;
        return reinterpret_cast<ParseNode *>(node_word(query, kSelectWord));
    }
    return reinterpret_cast<ParseNode *>(node_word(node, kSelectWord));
}

}  // extern "C"

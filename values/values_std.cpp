// values_std: the Value constructor of the standard family.
//
// Exports kxstd_new_value: NewValue (values/nodes.cpp) whose record comes
// out with every field set, so that nothing a recycled block held before
// leaks into the new value (the family's NewValue keeps such fields as
// they were, null flag included).
#include <cstddef>
#include <cstring>

#include "kxsupp/standard.h"
#include "kxsupp/values.h"

extern "C" {

KX_API Value *kxstd_new_value(MemHandle *handle, int32_t text_length)
{
    Value *value = NewValue(handle, text_length);
    if (value == nullptr)
        return nullptr;
    // keep what NewValue set (kind, handle, the text area's place), clear
    // the rest
    char *text = text_length > 0 ? value->payload.text : nullptr;
    int32_t inline_buffer = text_length > 0 ? 1 : 0;
    MemHandle *owner = value->mem_handle;
    std::memset(value, 0, sizeof(Value));
    value->kind = NODE_VALUE;
    value->mem_handle = owner;
    value->inline_buffer = inline_buffer;
    if (text != nullptr) {
        value->payload.text = text;
        text[0] = '\0';
    }
    return value;
}

}  // extern "C"

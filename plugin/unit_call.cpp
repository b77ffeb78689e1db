#include "plugin/unit_call.h"

namespace talvora {

UnitCall::UnitCall(call_context* ctx, get_interface_function get_interface,
                   std::initializer_list<std::int32_t> table_ids)
    : ctx_(ctx), get_interface_(get_interface) {
    for (const std::int32_t id : table_ids) {
        tables_[static_cast<std::size_t>(id)] = get_interface(id);
    }
}

void UnitCall::fetch_root() {
    context().root_group(&root_, ctx_);
}

bool UnitCall::read_boolean(const char* key) const {
    return context().read_boolean(ctx_, key) != 0;
}

std::int64_t UnitCall::read_integer(const char* key) const {
    return context().read_integer(ctx_, key);
}

double UnitCall::read_number(const char* key) const {
    return context().read_number(ctx_, key);
}

OwnedText UnitCall::read_text(const char* key) const {
    OwnedText text;
    context().read_string(text.out(), ctx_, key);
    return text;
}

OwnedTextList UnitCall::read_text_list(const char* key) const {
    OwnedTextList list;
    context().read_string_list(list.out(), ctx_, key);
    return list;
}

OwnedIntegerList UnitCall::read_integer_list(const char* key) const {
    OwnedIntegerList list;
    context().read_integer_list(list.out(), ctx_, key);
    return list;
}

UnitCall begin_full_call(call_context* ctx, get_interface_function get_interface) {
    UnitCall call(ctx, get_interface, {CONTEXT_API_ID, GROUP_API_ID, DATASET_API_ID, LOG_API_ID});
    call.fetch_root();
    return call;
}

} // namespace talvora

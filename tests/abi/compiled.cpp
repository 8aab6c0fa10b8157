// What hosts that are built already have compiled in: the operations' signatures and the records' layouts.

#include <canservicebase.h>
#include <serialport.h>

#include <cstddef>
#include <type_traits>

template<typename Signature> using Member = Signature CanServiceBase::*;
#define OPERATION(number, name, ...)                                                                         \
    static_assert(std::is_same_v<decltype(&CanServiceBase::name), Member<__VA_ARGS__>>,                      \
                  "a host that is built already calls " #name " as " #__VA_ARGS__);
#include "slots.inc"
#define RECORD(record, bytes)                                                                                \
    static_assert(sizeof(record) == (bytes),                                                                 \
                  "a host that is built already has " #record " in " #bytes " bytes");
#define FIELD(record, field, offset)                                                                         \
    static_assert(offsetof(record, field) == (offset),                                                       \
                  "a host that is built already has " #record "::" #field " at offset " #offset);
#if QT_POINTER_SIZE == 4
#include "layout32.inc"
#else
#include "layout64.inc"
#endif

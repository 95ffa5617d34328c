#pragma once
// Calls from a container to its elements, keys and values.

#include "zusl_Serializable.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <cstdint>
#include <type_traits>

namespace zusl::detail {

// True for exactly the library's own values. An object held by value of one of these classes needs no virtual
// call, so the compiler can inline the short operations, and writing it fails only for its length. A derived
// class may override anything, so it does not count.
template <typename T>
inline constexpr bool isOwnValue = std::is_same_v<T, zutl::String> || std::is_same_v<T, zutl::Integer>;

// The operations of an element of class T. Those of other classes are called through Serializable: the class
// itself may hide, overload or restrict access to them.
template <typename T>
struct Element {
    static unsigned int typeId() { return asSerializable(T()).getTypeId(); }
    static std::string typeName() { return asSerializable(T()).getTypeName(); }

    // Returns the length of the encoding, for a text even one beyond 32 bits: callers check the sum.
    static std::uint64_t getBinLength(const T& element) {
        if constexpr (std::is_same_v<T, zutl::String>)
            return std::uint64_t{element.size()} + T().getBinLength();
        else if constexpr (isOwnValue<T>)
            return element.T::getBinLength();
        else
            return asSerializable(element).getBinLength();
    }

    static unsigned int toBin(const T& element, unsigned char* buffer) {
        if constexpr (isOwnValue<T>)
            return element.T::toBin(buffer);
        else
            return asSerializable(element).toBin(buffer);
    }

    static unsigned int fromBin(T& element, const unsigned char* data, unsigned int length) {
        if constexpr (isOwnValue<T>)
            return element.T::fromBin(data, length);
        else
            return static_cast<Serializable&>(element).fromBin(data, length);
    }

    static bool fromXML(T& element, const char* xml) {
        return static_cast<Serializable&>(element).fromXML(xml);
    }

    static const Serializable& asSerializable(const T& element) { return element; }
};

} // namespace zusl::detail

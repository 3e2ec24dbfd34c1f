#pragma once
// Tag lists: the (tag, value) pairs, closed by the tag 0, that most host calls take.
//
// A tag is a 32-bit number whose high hexadecimal digit is the kind of its value: 1 an
// integer, 2 a double, 3 a text, 6 a pointer, 8 an identifier. A pair whose value is of
// another kind does not compile, nor does a tag without a value.
//
// It is longer than a header should be: the checks are templates, and the macros at the
// end spell out sixteen pairs.

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "host/api/export.h"
#include "host/api/fu_id.h"

using Tag = std::uint32_t;

// Stands where a list has no further value: behind its closing 0.
struct EndOfList {};

// High digit of the tags that carry a `Value`; 0 for the end of a list.
template <class Value>
constexpr Tag TagDigit() {
    if constexpr (std::same_as<Value, EndOfList>) {
        return 0;
    } else if constexpr (std::convertible_to<Value, const char*>) {
        return 3;
    } else if constexpr (std::is_pointer_v<Value>) {
        return 6;
    } else if constexpr (std::floating_point<Value>) {
        return 2;
    } else if constexpr (std::integral<Value> && sizeof(Value) <= sizeof(std::int32_t) &&
                         !std::same_as<Value, bool>) {
        return 1;
    } else {
        static_assert(std::same_as<Value, FuID>, "no tag carries a value of this type");
        return 8;
    }
}

// A tag that is known, while compiling, to carry a `Value`.
template <class Value>
struct CheckedTag {
    Tag tag = 0;

    constexpr CheckedTag() requires std::same_as<Value, EndOfList>
    = default;
    consteval CheckedTag(Tag number) : tag(number) {
        const bool open = std::same_as<Value, EndOfList> && number != 0;
        if (open || (number >> 28) != TagDigit<Value>())
            throw "the tag's high digit does not go with its value";
    }
};

// `CheckedTag` for parameters: the value, not the tag, decides the type.
template <class Value>
using TagOf = CheckedTag<std::type_identity_t<Value>>;

// One pair. Texts, which must not be null, are copied; pointers are borrowed from the
// caller.
struct TagPair {
    using Function = void (*)();
    using Value = std::variant<std::monostate, std::int32_t, double, std::string, FuID,
                               void*, Function>;

    Tag tag = 0;
    Value value;

    template <class V>
    TagPair(TagOf<V> checked, V given) : tag(checked.tag), value(Stored(given)) {}

  private:
    template <class V>
    static Value Stored(const V& given) {
        if constexpr (std::same_as<V, EndOfList>) {
            return std::monostate();
        } else if constexpr (std::integral<V>) {
            return static_cast<std::int32_t>(given);
        } else if constexpr (std::floating_point<V>) {
            return static_cast<double>(given);
        } else if constexpr (std::convertible_to<V, const char*>) {
            return std::string(given);
        } else if constexpr (!std::is_pointer_v<V>) {
            return given;
        } else if constexpr (std::is_function_v<std::remove_pointer_t<V>>) {
            return reinterpret_cast<Function>(given);
        } else {
            return const_cast<void*>(static_cast<const void*>(given));
        }
    }
};

// An ordered list of pairs, in which a tag may occur more than once (the items of a
// button list). A plain value: copies are independent, and threads may read one at once.
class HOST_API TagList {
  public:
    TagList() = default;
    // Copies the pairs up to the first whose tag is 0, or all.
    TagList(std::initializer_list<TagPair> pairs);

    const std::vector<TagPair>& Pairs() const { return pairs_; }
    // Adds the pairs of `more` behind its own.
    void Append(const TagList& more);

    // The value of the first pair with `tag`, else `fallback`. Throws
    // std::bad_variant_access when there is one whose value is of another kind.
    std::int32_t Integer(Tag tag, std::int32_t fallback) const;
    double Number(Tag tag, double fallback) const;
    std::string Text(Tag tag) const;  // empty when absent
    FuID ID(Tag tag) const;           // empty when absent
    // Null when absent. T must be the type that was put in: the list does not know it.
    template <class T>
    T* Pointer(Tag tag) const {
        const TagPair* pair = Find(tag);
        if constexpr (std::is_function_v<T>) {
            const auto* function =
                pair ? std::get_if<TagPair::Function>(&pair->value) : nullptr;
            return function ? reinterpret_cast<T*>(*function) : nullptr;
        } else {
            void* const* object = pair ? std::get_if<void*>(&pair->value) : nullptr;
            return object ? static_cast<T*>(*object) : nullptr;
        }
    }

  private:
    const TagPair* Find(Tag tag) const;

    std::vector<TagPair> pairs_;
};

// Template head, parameters and arguments of a function that takes up to 16 pairs and a
// closing 0. Three lists in step: a pack cannot alternate between tags and values.
// clang-format off
#define HOST_TAG_TYPES                                                                   \
    class A = EndOfList, class B = EndOfList, class C = EndOfList, class D = EndOfList,  \
    class E = EndOfList, class F = EndOfList, class G = EndOfList, class H = EndOfList,  \
    class I = EndOfList, class J = EndOfList, class K = EndOfList, class L = EndOfList,  \
    class M = EndOfList, class N = EndOfList, class O = EndOfList, class P = EndOfList,  \
    class Q = EndOfList
#define HOST_TAG_PAIRS                                                                   \
    TagOf<A> ta, A va = {}, TagOf<B> tb = {}, B vb = {}, TagOf<C> tc = {}, C vc = {},    \
    TagOf<D> td = {}, D vd = {}, TagOf<E> te = {}, E ve = {}, TagOf<F> tf = {}, F vf = {}, \
    TagOf<G> tg = {}, G vg = {}, TagOf<H> th = {}, H vh = {}, TagOf<I> ti = {}, I vi = {}, \
    TagOf<J> tj = {}, J vj = {}, TagOf<K> tk = {}, K vk = {}, TagOf<L> tl = {}, L vl = {}, \
    TagOf<M> tm = {}, M vm = {}, TagOf<N> tn = {}, N vn = {}, TagOf<O> to = {}, O vo = {}, \
    TagOf<P> tp = {}, P vp = {}, TagOf<Q> tq = {}, Q vq = {}
#define HOST_TAG_LIST                                                                    \
    TagList({{ta, va}, {tb, vb}, {tc, vc}, {td, vd}, {te, ve}, {tf, vf}, {tg, vg},       \
             {th, vh}, {ti, vi}, {tj, vj}, {tk, vk}, {tl, vl}, {tm, vm}, {tn, vn},       \
             {to, vo}, {tp, vp}, {tq, vq}})
// clang-format on

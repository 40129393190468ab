#pragma once
// Persisted enumerations: one table per type from ordinal to value identifier.
//
// The identifiers are the persisted and displayed form of every enumeration (the
// property stream writes them, the JSON form uses them, the command line shows them),
// so each enumeration is declared once through KW_ENUM from a list of its values and
// the identifier table is generated from that same list. Ordinals are stored in places
// (STypeFF, report files), so lists may only ever grow at the end.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// Identifier table of one enumeration type. Immutable; safe from any thread.
struct TKwEnumInfo {
  std::string_view TypeName;
  std::span<const std::string_view> Names;

  int Count() const { return static_cast<int>(Names.size()); }
  // The identifier of an ordinal, or "" when the ordinal is out of range.
  std::string_view Name(int ordinal) const;
  // The ordinal of an identifier (exact, case-sensitive match), or -1 when unknown.
  int Ordinal(std::string_view name) const;
};

template <class E>
struct TKwEnumTraits;  // specialised by KW_ENUM

template <class E>
const TKwEnumInfo& EnumInfo() {
  static const TKwEnumInfo info{TKwEnumTraits<E>::TypeName, TKwEnumTraits<E>::Names};
  return info;
}

template <class E>
std::string EnumToString(E value) {
  return std::string(EnumInfo<E>().Name(static_cast<int>(value)));
}

// -1 for an unknown identifier; callers must treat it as invalid.
template <class E>
int StringToEnum(std::string_view name) {
  return EnumInfo<E>().Ordinal(name);
}

#define KW_ENUM_VALUE_(v) v,
#define KW_ENUM_NAME_(v) std::string_view(#v),

// Declares `enum Type : int { values... }`, its identifier table and its value count
// `Type##Count`. LIST is a macro taking a macro: LIST(X) expands X(value) per value.
#define KW_ENUM(Type, LIST)                                               \
  enum Type : int { LIST(KW_ENUM_VALUE_) };                               \
  template <>                                                             \
  struct TKwEnumTraits<Type> {                                            \
    static constexpr std::string_view TypeName = #Type;                   \
    static constexpr std::string_view Names[] = {LIST(KW_ENUM_NAME_)};    \
  };                                                                      \
  inline constexpr int Type##Count = static_cast<int>(std::size(TKwEnumTraits<Type>::Names))

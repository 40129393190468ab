#pragma once
// Named variables that a source hands down to its targets for one run: one per message
// part (EmailParts) or per extracted data field (Fields). Each variable remembers the
// column field it stands for, its current value as text, whether it is exported, and the
// kind of column it becomes. TKwVariablesList owns its variables; the list itself is owned
// by the source and only referred to by the targets. Used from one thread.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uKwTypes.h"

// persisted: never reorder
#define KW_VARIABLE_TYPE(X) \
  X(vtBoolean) X(vtDateTime) X(vtDouble) X(vtInteger) X(vtString) X(vtMemo)
KW_ENUM(TVariableType, KW_VARIABLE_TYPE);
static_assert(TVariableTypeCount == 6);

// The column kind of a message part: dates, the attachment count, the bodies and the header
// block have their own kinds; every other field is a string.
TVariableType ColumnFieldToVariableType(TColumnField field);

struct TKwVariable {
  std::string Name;
  TColumnField ColumnField = cfSubmitDate;  // meaningful for message-part variables
  std::string Value;
  bool Export = false;
  TVariableType VariableType = vtString;
};

class TKwVariablesList {
 public:
  TKwVariablesList() = default;
  TKwVariablesList(const TKwVariablesList&) = delete;
  TKwVariablesList& operator=(const TKwVariablesList&) = delete;

  // Appends a variable and returns it; the reference stays valid until Clear.
  TKwVariable& Add(std::string_view name, TColumnField columnField, TVariableType variableType,
                   std::string_view value = "", bool exportFlag = false);
  void Clear() { FItems.clear(); }
  int Count() const { return static_cast<int>(FItems.size()); }
  // std::out_of_range unless 0 <= index < Count().
  TKwVariable& Items(int index) { return *FItems.at(static_cast<std::size_t>(index)); }
  const TKwVariable& Items(int index) const { return *FItems.at(static_cast<std::size_t>(index)); }

  // First variable of that name, compared without regard to ASCII case (the names become
  // SQL column names); nullptr when none.
  TKwVariable* FindByName(std::string_view name);
  const TKwVariable* FindByName(std::string_view name) const;
  // First variable that stands for the field; nullptr when none.
  TKwVariable* FindByColumnField(TColumnField field);
  const TKwVariable* FindByColumnField(TColumnField field) const;
  int IndexOfName(std::string_view name) const;  // -1 when none
  int IndexOfColumnField(TColumnField field) const;

 private:
  std::vector<std::unique_ptr<TKwVariable>> FItems;
};

#include "uKwVariables.h"

namespace {

bool SameTextAscii(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  for (std::size_t i = 0; i < a.size(); ++i)
    if (lower(a[i]) != lower(b[i])) return false;
  return true;
}

}  // namespace

TVariableType ColumnFieldToVariableType(TColumnField field) {
  switch (field) {
    case cfSubmitDate:
    case cfDeliveryDate:
      return vtDateTime;
    case cfAttachCount:
      return vtInteger;
    case cfHeaders:
    case cfTextPart:
    case cfHtmlPart:
      return vtMemo;
    default:
      return vtString;
  }
}

TKwVariable& TKwVariablesList::Add(std::string_view name, TColumnField columnField,
                                   TVariableType variableType, std::string_view value,
                                   bool exportFlag) {
  FItems.push_back(std::make_unique<TKwVariable>(
      TKwVariable{std::string(name), columnField, std::string(value), exportFlag, variableType}));
  return *FItems.back();
}

int TKwVariablesList::IndexOfName(std::string_view name) const {
  for (std::size_t i = 0; i < FItems.size(); ++i)
    if (SameTextAscii(FItems[i]->Name, name)) return static_cast<int>(i);
  return -1;
}

int TKwVariablesList::IndexOfColumnField(TColumnField field) const {
  for (std::size_t i = 0; i < FItems.size(); ++i)
    if (FItems[i]->ColumnField == field) return static_cast<int>(i);
  return -1;
}

TKwVariable* TKwVariablesList::FindByName(std::string_view name) {
  const int index = IndexOfName(name);
  return index < 0 ? nullptr : FItems[static_cast<std::size_t>(index)].get();
}

const TKwVariable* TKwVariablesList::FindByName(std::string_view name) const {
  const int index = IndexOfName(name);
  return index < 0 ? nullptr : FItems[static_cast<std::size_t>(index)].get();
}

TKwVariable* TKwVariablesList::FindByColumnField(TColumnField field) {
  const int index = IndexOfColumnField(field);
  return index < 0 ? nullptr : FItems[static_cast<std::size_t>(index)].get();
}

const TKwVariable* TKwVariablesList::FindByColumnField(TColumnField field) const {
  const int index = IndexOfColumnField(field);
  return index < 0 ? nullptr : FItems[static_cast<std::size_t>(index)].get();
}

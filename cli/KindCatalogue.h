#pragma once
// What the command line tells about action kinds: their role names, the texts of
// enumeration values, and the placeholder a template puts into a setting a user must fill.

#include <string>
#include <vector>

#include "uKwActionSettings.h"
#include "uKwPersistent.h"
#include "uKwTypes.h"

// "source", "pass", "target", "simple", "job"; the identifier for the others.
std::string RoleName(TActionRol role);

// The kind named `text`, or -1 (with a "did you mean" in `error`) when there is none
// that can stand in a tree.
int FindKind(const std::string& text, std::string& error);

// A few words on what an enumeration value means.
std::string EnumValueMeaning(const TKwEnumInfo& type, int ordinal);

// The text a template puts in a setting a run needs.
std::string Placeholder(const TKwSettingNeed& need, TKwActionBase& action);

#pragma once
// Which published settings of each kind this build does not act on: properties kept so
// that a tree loads, saves and copies whole, but that no code of the run reads (the
// desktop program's windows, Windows-only stores, features this build refuses, such as
// PDF signing). One table for every kind this build carries out; a kind it does not carry
// out acts on none of its settings. A change to what a kind's code reads changes this
// table with it: its test can only check that each entry names a setting the kind has.
// Pure functions over constant tables; safe from any thread.

#include <string_view>
#include <vector>

#include "uKwTypes.h"

class TKwActionBase;

// The kind's settings a run does not act on, as dotted paths; an entry ending in "."
// stands for every setting of that option object ("SourceOptions.AmazonS3.").
std::vector<std::string_view> IgnoredSettingsOf(TSourceTargetItem kind);

// Whether a run of `action` acts on the setting at the dotted `path` (as FlattenProperties
// names it). False for every setting of a kind this build does not carry out.
bool IsSettingActedOn(TKwActionBase& action, std::string_view path);

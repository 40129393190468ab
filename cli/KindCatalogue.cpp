#include "KindCatalogue.h"

#include <cctype>
#include <map>

#include "uKwActionBase.h"
#include "uKwAssert.h"
#include "uKwDidYouMean.h"

namespace {

// Meanings that the identifier alone does not tell.
const std::map<std::string, std::string, std::less<>> kMeanings = {
    {"sfsDontCreateSubFolders", "every file straight in the target folder"},
    {"sfsLikeEmailSourceFolders", "one sub-folder per source folder, as in the source"},
    {"sfsCreateFromAddressPart", "one sub-folder per sender address"},
    {"sfsCreateFromDomainPart", "one sub-folder per sender domain"},
    {"sfsFromDomainFromAddress", "sender domain, then sender address"},
    {"sfsFromHashAddress", "\"domain@local [crc]\" per sender"},
    {"sfsOnlyCreateParents", "only the optional levels (Variable1, computer, user, year-month)"},
    {"dfSkip", "keep the file that exists; the message is skipped"},
    {"dfOverwrite", "replace the file that exists"},
    {"dfRename", "keep both: the new file gets a numbered name (name_1.eml)"},
    {"fnfDateFromToIdSubject", "date, sender, recipient, id, subject"},
    {"fnfDateFromIdSubject", "date, sender, id, subject"},
    {"fnfDateFromToSubject", "date, sender, recipient, subject"},
    {"fnfDateFromSubject", "date, sender, subject"},
    {"fnfUidFromSubject", "unique id, sender, subject"},
    {"fnfUidSubject", "unique id, subject"},
    {"fnfUidDomain", "unique id, sender domain"},
    {"fnfUid", "unique id only"},
    {"fnfSource", "the source's own file name"},
    {"fnfUserDefined", "the template in Options.FilenameTemplate"},
};

// "sfsOnlyCreateParents" -> "only create parents"
std::string WordsOf(std::string_view identifier) {
  size_t start = 0;
  while (start < identifier.size() && std::islower(static_cast<unsigned char>(identifier[start]))) ++start;
  if (start == identifier.size()) start = 0;
  std::string words;
  for (size_t i = start; i < identifier.size(); ++i) {
    const char c = identifier[i];
    const bool upper = std::isupper(static_cast<unsigned char>(c));
    const bool nextLower = i + 1 < identifier.size() && std::islower(static_cast<unsigned char>(identifier[i + 1]));
    const bool prevLower = i > start && std::islower(static_cast<unsigned char>(identifier[i - 1]));
    if (i > start && upper && (prevLower || nextLower)) words += ' ';
    words += upper && nextLower ? static_cast<char>(std::tolower(c)) : c;
  }
  return words;
}

}  // namespace

std::string RoleName(TActionRol role) {
  switch (role) {
    case arSource: return "source";
    case arPass: return "pass";
    case arTarget: return "target";
    case arSimple: return "simple";
    case arJob: return "job";
    default: return EnumToString(role);
  }
}

int FindKind(const std::string& text, std::string& error) {
  const int kind = StringToSourceTargetItem(text);
  if (kind >= 0 && HasActionClass(static_cast<TSourceTargetItem>(kind))) return kind;
  std::vector<std::string> names;
  for (int i = 0; i < TSourceTargetItemCount; ++i)
    if (HasActionClass(static_cast<TSourceTargetItem>(i))) names.push_back(SourceTargetItemToString(static_cast<TSourceTargetItem>(i)));
  const std::string guess = ClosestName(text, names);
  error = kind >= 0 ? "the kind " + text + " cannot stand in a tree"
                    : "unknown kind '" + text + "'" + (guess.empty() ? "" : "; did you mean '" + guess + "'?") +
                          " ('quillon kinds' lists them)";
  return -1;
}

std::string EnumValueMeaning(const TKwEnumInfo& type, int ordinal) {
  const std::string_view name = type.Name(ordinal);
  if (auto it = kMeanings.find(name); it != kMeanings.end()) return it->second;
  try {
    if (type.TypeName == "TFileFormat") return GetFileFormatName(static_cast<TFileFormat>(ordinal));
    if (type.TypeName == "TColumnField") return GetColumnFieldName(static_cast<TColumnField>(ordinal));
  } catch (const EAssertionFailed&) {
    // a value without a display text: its words will do
  }
  return WordsOf(name);
}

std::string Placeholder(const TKwSettingNeed& need, TKwActionBase& action) {
  switch (need.Role) {
    case TKwSettingRole::SourceFile: return "<mail file>";
    case TKwSettingRole::SourceFolder: return "<folder of message files>";
    case TKwSettingRole::OutputFolder: return "<folder>";
    case TKwSettingRole::OutputFile: {
      std::string extension = action.ItemType == stiMailTarMbox ? ".mbox" : "";
      for (const TKwPropertyPath& entry : FlattenProperties(action))
        if (entry.Path == "TargetFormat")
          extension = GetFileFormatExtension(static_cast<TFileFormat>(entry.Property.GetOrdinal()));
      return "<file>" + extension;
    }
    case TKwSettingRole::Text:
      if (need.Path == "FieldsStr") return "00030508";  // date, sender address, recipients, subject
      return "<" + need.Path.substr(need.Path.rfind('.') + 1) + ">";
  }
  return "";
}

#include "uKwOleStorage.h"

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-input-stdio.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>

#include <memory>
#include <mutex>

namespace {

struct TGObjectUnref {
  void operator()(void* object) const noexcept {
    if (object != nullptr) g_object_unref(object);
  }
};
template <typename T>
using TGObjectHandle = std::unique_ptr<T, TGObjectUnref>;

void InitialiseGsf() {
  static std::once_flag initialised;
  std::call_once(initialised, [] {
    gsf_init();
    // Damaged files make libgsf log criticals; the caller gets an error instead.
    for (const char* domain : {"libgsf:msole", "libgsf"})
      g_log_set_handler(domain, static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION),
                        [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
  });
}

std::string TakeError(GError* error, std::string_view fallback) {
  std::string text = error != nullptr && error->message != nullptr ? error->message : std::string(fallback);
  if (error != nullptr) g_error_free(error);
  return text;
}

std::string OutputError(GsfOutput* output, std::string_view what) {
  const GError* error = gsf_output_error(output);
  return std::string(what) + ": " + (error != nullptr ? error->message : "unknown error");
}

// ---------------------------------------------------------------- writing

bool WriteChildren(GsfOutfile* storage, const TKwOleNode& node, std::string& error) {
  for (const TKwOleNode& child : node.Children) {
    TGObjectHandle<GsfOutput> output(gsf_outfile_new_child(storage, child.Name.c_str(), child.IsStorage));
    if (!output) {
      error = "Cannot create the entry " + child.Name;
      return false;
    }
    if (child.IsStorage) {
      if (!WriteChildren(GSF_OUTFILE(output.get()), child, error)) return false;
    } else if (!child.Data.empty() &&
               !gsf_output_write(output.get(), child.Data.size(), reinterpret_cast<const guint8*>(child.Data.data()))) {
      error = OutputError(output.get(), "Cannot write " + child.Name);
      return false;
    }
    if (!gsf_output_close(output.get())) {
      error = OutputError(output.get(), "Cannot write " + child.Name);
      return false;
    }
  }
  return true;
}

// ---------------------------------------------------------------- reading

struct TReadBudget {
  TKwOleReadLimits Limits;
  int Entries = 0;
  int64_t Bytes = 0;
};

bool ReadChildren(GsfInfile* storage, TKwOleNode& node, int depth, TReadBudget& budget, std::string& error) {
  if (depth > budget.Limits.MaxDepth) {
    error = "The compound file nests too deep";
    return false;
  }
  const int count = gsf_infile_num_children(storage);
  for (int i = 0; i < count; ++i) {
    if (++budget.Entries > budget.Limits.MaxEntries) {
      error = "The compound file has too many entries";
      return false;
    }
    TGObjectHandle<GsfInput> input(gsf_infile_child_by_index(storage, i));
    const char* name = gsf_infile_name_by_index(storage, i);
    if (!input) {
      error = "A damaged entry in the compound file";
      return false;
    }
    TKwOleNode& child = node.Children.emplace_back();
    child.Name = name != nullptr ? name : "";
    // A storage is what gsf reads as an infile with children or what it says is a directory.
    child.IsStorage = GSF_IS_INFILE(input.get()) && gsf_infile_num_children(GSF_INFILE(input.get())) >= 0;
    if (child.IsStorage) {
      if (!ReadChildren(GSF_INFILE(input.get()), child, depth + 1, budget, error)) return false;
      continue;
    }
    const gsf_off_t size = gsf_input_size(input.get());
    if (size < 0 || budget.Bytes + size > budget.Limits.MaxTotalBytes) {
      error = "The compound file is too large";
      return false;
    }
    budget.Bytes += size;
    child.Data.resize(static_cast<size_t>(size));
    if (size > 0 && gsf_input_read(input.get(), static_cast<size_t>(size), reinterpret_cast<guint8*>(child.Data.data())) ==
                        nullptr) {
      error = "Cannot read the entry " + child.Name;
      return false;
    }
  }
  return true;
}

bool ReadFromInput(TGObjectHandle<GsfInput> input, TKwOleNode& root, std::string& error,
                   const TKwOleReadLimits& limits) {
  root = TKwOleNode{"Root Entry", true, {}, {}};
  GError* gerror = nullptr;
  TGObjectHandle<GsfInfile> infile(gsf_infile_msole_new(input.get(), &gerror));
  if (!infile) {
    error = "Not a compound file: " + TakeError(gerror, "unknown error");
    return false;
  }
  TReadBudget budget{limits};
  return ReadChildren(infile.get(), root, 0, budget, error);
}

}  // namespace

TKwOleNode& TKwOleNode::AddStorage(std::string name) {
  return Children.emplace_back(TKwOleNode{std::move(name), true, {}, {}});
}

TKwOleNode& TKwOleNode::AddStream(std::string name, std::string data) {
  return Children.emplace_back(TKwOleNode{std::move(name), false, std::move(data), {}});
}

const TKwOleNode* TKwOleNode::Child(std::string_view name) const {
  for (const TKwOleNode& child : Children)
    if (child.Name.size() == name.size() &&
        std::equal(name.begin(), name.end(), child.Name.begin(),
                   [](char a, char b) { return g_ascii_tolower(a) == g_ascii_tolower(b); }))
      return &child;
  return nullptr;
}

const std::string* TKwOleNode::StreamData(std::string_view name) const {
  const TKwOleNode* child = Child(name);
  return child != nullptr && !child->IsStorage ? &child->Data : nullptr;
}

bool WriteCompoundFile(const std::string& fileName, const TKwOleNode& root, const TKwOleClassId& classId,
                       std::string& error) {
  InitialiseGsf();
  GError* gerror = nullptr;
  TGObjectHandle<GsfOutput> sink(gsf_output_stdio_new(fileName.c_str(), &gerror));
  if (!sink) {
    error = "Cannot create file " + fileName + ": " + TakeError(gerror, "unknown error");
    return false;
  }
  TGObjectHandle<GsfOutfile> outfile(gsf_outfile_msole_new(sink.get()));
  if (!outfile) {
    error = "Cannot create the compound file " + fileName;
    return false;
  }
  gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(outfile.get()), classId.data());
  if (!WriteChildren(outfile.get(), root, error)) return false;
  if (!gsf_output_close(GSF_OUTPUT(outfile.get()))) {
    error = OutputError(GSF_OUTPUT(outfile.get()), "Cannot write " + fileName);
    return false;
  }
  if (!gsf_output_is_closed(sink.get()) && !gsf_output_close(sink.get())) {
    error = OutputError(sink.get(), "Cannot write " + fileName);
    return false;
  }
  return true;
}

bool ReadCompoundFile(const std::string& fileName, TKwOleNode& root, std::string& error,
                      const TKwOleReadLimits& limits) {
  InitialiseGsf();
  GError* gerror = nullptr;
  TGObjectHandle<GsfInput> input(gsf_input_stdio_new(fileName.c_str(), &gerror));
  if (!input) {
    error = "Cannot read " + fileName + ": " + TakeError(gerror, "unknown error");
    return false;
  }
  return ReadFromInput(std::move(input), root, error, limits);
}

bool ReadCompoundBytes(std::string_view bytes, TKwOleNode& root, std::string& error,
                       const TKwOleReadLimits& limits) {
  InitialiseGsf();
  TGObjectHandle<GsfInput> input(
      gsf_input_memory_new(reinterpret_cast<const guint8*>(bytes.data()), static_cast<gsf_off_t>(bytes.size()), FALSE));
  if (!input) {
    error = "Not a compound file";
    return false;
  }
  return ReadFromInput(std::move(input), root, error, limits);
}

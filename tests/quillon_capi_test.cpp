// The C entry, used the way a desktop shell uses it: through quillon.h only.

#include "quillon.h"

#include <gtest/gtest.h>

#include <cctype>

#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"

namespace {

struct RootDeleter {
  void operator()(qn_action* action) const { qn_action_free(action); }
};
using RootHandle = std::unique_ptr<qn_action, RootDeleter>;

struct StringDeleter {
  void operator()(char* text) const { qn_free_string(text); }
};
using OwnedString = std::unique_ptr<char, StringDeleter>;

// Takes a library string (or NULL) into a std::string and frees it.
std::string Take(char* text) {
  OwnedString owned(text);
  return owned ? std::string(owned.get()) : std::string();
}

RootHandle Create(const char* kind) {
  qn_action* action = nullptr;
  char* error = nullptr;
  EXPECT_EQ(qn_action_create(kind, &action, &error), QN_OK) << Take(error);
  return RootHandle(action);
}

qn_action* AddChild(qn_action* parent, const char* kind) {
  qn_action* child = nullptr;
  char* error = nullptr;
  EXPECT_EQ(qn_action_add_child(parent, kind, 1, &child, &error), QN_OK) << Take(error);
  return child;
}

std::string KindOf(qn_action* action) {
  char* kind = nullptr;
  EXPECT_EQ(qn_action_kind(action, &kind, nullptr), QN_OK);
  return Take(kind);
}

int ChildCount(qn_action* action) {
  int count = -1;
  EXPECT_EQ(qn_action_child_count(action, &count, nullptr), QN_OK);
  return count;
}

std::string SaveString(qn_action* action, int asJson) {
  char* text = nullptr;
  char* error = nullptr;
  EXPECT_EQ(qn_action_save_string(action, asJson, &text, &error), QN_OK) << Take(error);
  return Take(text);
}

RootHandle LoadString(const std::string& text) {
  qn_action* action = nullptr;
  char* error = nullptr;
  EXPECT_EQ(qn_action_load_string(text.c_str(), &action, &error), QN_OK) << Take(error);
  return RootHandle(action);
}

// job > mbox source > filter > "true" branch
RootHandle MailTree() {
  RootHandle job = Create("stiJob");
  qn_action* source = AddChild(job.get(), "stiMailSrcMbox");
  qn_action* filter = AddChild(source, "stiMailPasFilter");
  AddChild(filter, "stiMailPasFilterTrue");
  return job;
}

// A job whose sources this build keeps as settings only.
RootHandle UnavailableTree(int sources) {
  RootHandle job = Create("stiJob");
  for (int i = 0; i < sources; ++i) AddChild(job.get(), "stiMailSrcLotusNotes");
  return job;
}

struct StatusEvent {
  qn_action* Sender;
  std::string Text1;
  std::string Text2;
};

void RecordStatus(void* user, qn_action* sender, const char* text1, const char* text2) {
  static_cast<std::vector<StatusEvent>*>(user)->push_back({sender, text1, text2});
}

void CountAction(void* user, qn_action*, const char*, const char*) { ++*static_cast<int*>(user); }

void RecordAbortSender(void* user, qn_action* sender) {
  static_cast<std::vector<qn_action*>*>(user)->push_back(sender);
}

class QuillonCApiTest : public ::testing::Test {
 protected:
  TTempHome Home;
};

// ---------------------------------------------------------------- trees

TEST_F(QuillonCApiTest, BuildsAMailTreeWhoseChildHandlesStayTheSame) {
  RootHandle job = MailTree();
  ASSERT_EQ(ChildCount(job.get()), 1);
  qn_action* source = nullptr;
  qn_action* again = nullptr;
  ASSERT_EQ(qn_action_child(job.get(), 0, &source, nullptr), QN_OK);
  ASSERT_EQ(qn_action_child(job.get(), 0, &again, nullptr), QN_OK);
  EXPECT_EQ(source, again);
  EXPECT_EQ(KindOf(source), "stiMailSrcMbox");

  qn_action* filter = nullptr;
  ASSERT_EQ(qn_action_child(source, 0, &filter, nullptr), QN_OK);
  EXPECT_EQ(KindOf(filter), "stiMailPasFilter");
  AddChild(source, "stiMailTarSingleFiles");
  EXPECT_EQ(ChildCount(source), 2);
  EXPECT_EQ(ChildCount(filter), 1);
}

TEST_F(QuillonCApiTest, RuleCheckingRefusesATargetDirectlyUnderAFilter) {
  RootHandle job = MailTree();
  qn_action* source = nullptr;
  qn_action* filter = nullptr;
  ASSERT_EQ(qn_action_child(job.get(), 0, &source, nullptr), QN_OK);
  ASSERT_EQ(qn_action_child(source, 0, &filter, nullptr), QN_OK);

  qn_action* child = nullptr;
  char* error = nullptr;
  EXPECT_EQ(qn_action_add_child(filter, "stiMailTarSingleFiles", 1, &child, &error),
            QN_E_CHILD_NOT_ALLOWED);
  EXPECT_EQ(child, nullptr);
  EXPECT_NE(Take(error).find("stiMailTarSingleFiles"), std::string::npos);
  EXPECT_EQ(ChildCount(filter), 1);

  // Without the check the tree takes it, as a loader of old files would.
  EXPECT_EQ(qn_action_add_child(filter, "stiMailTarSingleFiles", 0, &child, nullptr), QN_OK);
  EXPECT_EQ(ChildCount(filter), 2);
}

TEST_F(QuillonCApiTest, TextSavedLoadsBackToTheSameText) {
  RootHandle job = MailTree();
  std::string text = SaveString(job.get(), 0);
  ASSERT_FALSE(text.empty());
  RootHandle loaded = LoadString(text);
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(KindOf(loaded.get()), "stiJob");
  EXPECT_EQ(SaveString(loaded.get(), 0), text);
}

TEST_F(QuillonCApiTest, JsonRoundTripKeepsTheTreeByteForByte) {
  RootHandle job = MailTree();
  std::string json = SaveString(job.get(), 1);
  EXPECT_NE(json.find("\"kind\": \"stiJob\""), std::string::npos);
  RootHandle loaded = LoadString(json);
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(SaveString(loaded.get(), 1), json);
  EXPECT_EQ(SaveString(loaded.get(), 0), SaveString(job.get(), 0));
}

TEST_F(QuillonCApiTest, FilesSaveByExtensionAndLoadWhateverTheyHold) {
  RootHandle job = MailTree();
  for (const char* name : {"tree.json", "tree.qaf"}) {
    std::string path = (Home / name).string();
    char* error = nullptr;
    ASSERT_EQ(qn_action_save_file(job.get(), path.c_str(), &error), QN_OK) << Take(error);
    qn_action* loaded = nullptr;
    ASSERT_EQ(qn_action_load_file(path.c_str(), &loaded, &error), QN_OK) << Take(error);
    RootHandle owned(loaded);
    EXPECT_EQ(SaveString(loaded, 0), SaveString(job.get(), 0)) << name;
  }
  EXPECT_EQ(ReadFileText(Home / "tree.json").front(), '{');
}

// ---------------------------------------------------------------- runs

TEST_F(QuillonCApiTest, ExecuteReportsStatusWithTheSenderHandle) {
  RootHandle job = UnavailableTree(1);
  qn_action* source = nullptr;
  ASSERT_EQ(qn_action_child(job.get(), 0, &source, nullptr), QN_OK);
  std::vector<StatusEvent> events;
  int actions = 0;
  ASSERT_EQ(qn_set_status_callback(job.get(), RecordStatus, &events), QN_OK);
  ASSERT_EQ(qn_set_action_callback(job.get(), CountAction, &actions), QN_OK);

  char* error = nullptr;
  ASSERT_EQ(qn_action_execute(job.get(), &error), QN_OK) << Take(error);
  EXPECT_EQ(actions, 1);
  bool rootStarted = false;
  bool sourceReported = false;
  for (const StatusEvent& e : events) {
    rootStarted |= e.Sender == job.get() && e.Text2 == "Executing";
    sourceReported |= e.Sender == source && e.Text2.find("is not available in this build") != std::string::npos;
  }
  EXPECT_TRUE(rootStarted);
  EXPECT_TRUE(sourceReported);
}

TEST_F(QuillonCApiTest, JobsStartAsJobsAndTheirFilesCarryJobInformation) {
  RootHandle job = Create("stiJob");
  std::string path = (Home / "job.qjob").string();
  char* error = nullptr;
  ASSERT_EQ(qn_action_save_file(job.get(), path.c_str(), &error), QN_OK) << Take(error);
  char* jobId = nullptr;
  char* schedule = nullptr;
  int enabled = -1;
  ASSERT_EQ(qn_job_file_info(path.c_str(), &jobId, nullptr, nullptr, &schedule, &enabled, &error), QN_OK)
      << Take(error);
  std::string id = Take(jobId);
  EXPECT_EQ(id.size(), 38u);
  EXPECT_EQ(Take(schedule), "Not scheduled");
  EXPECT_EQ(enabled, 0);

  ASSERT_EQ(qn_action_execute(job.get(), &error), QN_OK) << Take(error);
  char* report = nullptr;
  ASSERT_EQ(qn_job_report_file(job.get(), &report, &error), QN_OK) << Take(error);
  std::string reportName = Take(report);
  EXPECT_NE(reportName.find(id), std::string::npos) << reportName;
  EXPECT_FALSE(ReadFileText(reportName).empty());

  // A plain action file has no job information; a source is no job.
  RootHandle source = Create("stiMailSrcMbox");
  std::string plain = (Home / "source.qaf").string();
  ASSERT_EQ(qn_action_save_file(source.get(), plain.c_str(), &error), QN_OK) << Take(error);
  EXPECT_EQ(qn_job_file_info(plain.c_str(), &jobId, nullptr, nullptr, nullptr, nullptr, &error), QN_E_LOAD);
  EXPECT_EQ(jobId, nullptr);
  EXPECT_NE(Take(error).find("no job information"), std::string::npos);
  EXPECT_EQ(qn_action_save_file(source.get(), (Home / "source.qjob").string().c_str(), &error), QN_E_SAVE);
  Take(error);
  EXPECT_EQ(qn_job_report_file(source.get(), &report, &error), QN_E_NOT_JOB);
  Take(error);
  EXPECT_EQ(qn_job_file_info(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), QN_E_INVALID_ARGUMENT);
}

TEST_F(QuillonCApiTest, CallbacksReachChildrenAddedAfterRegistration) {
  RootHandle job = Create("stiJob");
  std::vector<StatusEvent> events;
  ASSERT_EQ(qn_set_status_callback(job.get(), RecordStatus, &events), QN_OK);
  qn_action* source = AddChild(job.get(), "stiMailSrcLotusNotes");
  ASSERT_EQ(qn_action_execute(source, nullptr), QN_OK);  // a child run on its own
  ASSERT_FALSE(events.empty());
  EXPECT_EQ(events.front().Sender, source);
}

TEST_F(QuillonCApiTest, AbortFromAnotherThreadBeforeExecuteRunsNoChild) {
  RootHandle job = UnavailableTree(3);
  int actions = 0;
  std::vector<qn_action*> abortSenders;
  ASSERT_EQ(qn_set_action_callback(job.get(), CountAction, &actions), QN_OK);
  ASSERT_EQ(qn_set_abort_callback(job.get(), RecordAbortSender, &abortSenders), QN_OK);

  int abortStatus = -1;
  std::thread aborter([&] { abortStatus = qn_action_abort(job.get(), nullptr); });
  aborter.join();
  ASSERT_EQ(abortStatus, QN_OK);
  ASSERT_EQ(qn_action_execute(job.get(), nullptr), QN_OK);
  EXPECT_EQ(actions, 0);
  ASSERT_FALSE(abortSenders.empty());
  EXPECT_EQ(abortSenders.back(), job.get());
}

TEST_F(QuillonCApiTest, ErrorCountSumsTheLogsOfTheSubtree) {
  RootHandle job = UnavailableTree(2);
  int count = -1;
  ASSERT_EQ(qn_action_error_count(job.get(), &count, nullptr), QN_OK);
  EXPECT_EQ(count, 0);
  ASSERT_EQ(qn_action_execute(job.get(), nullptr), QN_OK);
  ASSERT_EQ(qn_action_error_count(job.get(), &count, nullptr), QN_OK);
  EXPECT_GE(count, 2);
}

TEST_F(QuillonCApiTest, GlobalOptionsReachEveryTreeThatRuns) {
  WriteFileText(Home / "in.mbox",
                "From a@example.com Mon Jan  1 10:00:00 2024\nSubject: one\n\nx\n\n"
                "From b@example.com Mon Jan  1 11:00:00 2024\nSubject: two\n\ny\n");
  const std::string tree = R"({"kind": "stiJob", "children": [{"kind": "stiMailSrcMbox",
    "SourceOptions.Filename": ")" + (Home / "in.mbox").string() + R"(",
    "children": [{"kind": "stiMailTarMbox", "TargetFilename": ")" + (Home / "out.mbox").string() + R"("}]}]})";
  char* error = nullptr;
  ASSERT_EQ(qn_set_global_options(R"({"DetailedLog": true, "OauthList": ["k=a:r~0"]})", &error), QN_OK)
      << Take(error);
  char* json = nullptr;
  ASSERT_EQ(qn_get_global_options(&json, nullptr), QN_OK);
  const std::string stored = Take(json);
  EXPECT_NE(stored.find("\"DetailedLog\": true"), std::string::npos) << stored;
  EXPECT_NE(stored.find("k=a:r~0"), std::string::npos) << stored;

  RootHandle job = LoadString(tree);
  ASSERT_EQ(qn_action_execute(job.get(), &error), QN_OK) << Take(error);
  char* report = nullptr;
  ASSERT_EQ(qn_job_report_file(job.get(), &report, nullptr), QN_OK);
  const std::string text = ReadFileText(Take(report));
  EXPECT_NE(text.find("* Status:       Processed"), std::string::npos) << text;
  EXPECT_EQ(qn_set_global_options("{}", nullptr), QN_OK);  // back to the defaults for the other tests
}

TEST_F(QuillonCApiTest, GlobalOptionsThatDoNotLoadChangeNothing) {
  ASSERT_EQ(qn_set_global_options(R"({"IndexEmail": true})", nullptr), QN_OK);
  char* error = nullptr;
  EXPECT_EQ(qn_set_global_options(R"({"IndexEmail": false, "DetailLog": true, "Proxy.Port": "x"})", &error),
            QN_E_OPTIONS);
  const std::string message = Take(error);
  EXPECT_NE(message.find("did you mean \"DetailedLog\""), std::string::npos) << message;
  EXPECT_NE(message.find("Proxy.Port"), std::string::npos) << message;
  EXPECT_EQ(qn_set_global_options("{\"DetailedLog\": tru", &error), QN_E_OPTIONS);
  EXPECT_NE(Take(error).find("line 1"), std::string::npos);
  EXPECT_EQ(qn_set_global_options(nullptr, nullptr), QN_E_INVALID_ARGUMENT);
  char* json = nullptr;
  ASSERT_EQ(qn_get_global_options(&json, nullptr), QN_OK);
  EXPECT_NE(Take(json).find("\"IndexEmail\": true"), std::string::npos);
  EXPECT_EQ(qn_set_global_options("{}", nullptr), QN_OK);
}

// ---------------------------------------------------------------- error paths

TEST_F(QuillonCApiTest, UnknownKindsGiveAnErrorWithAMessage) {
  qn_action* action = nullptr;
  char* error = nullptr;
  EXPECT_EQ(qn_action_create("stiNoSuchThing", &action, &error), QN_E_UNKNOWN_KIND);
  EXPECT_EQ(action, nullptr);
  EXPECT_NE(Take(error).find("stiNoSuchThing"), std::string::npos);

  EXPECT_EQ(qn_action_create("stiOther", &action, &error), QN_E_UNKNOWN_KIND);  // no class
  EXPECT_FALSE(Take(error).empty());
  EXPECT_EQ(qn_action_create("", &action, &error), QN_E_UNKNOWN_KIND);
  EXPECT_FALSE(Take(error).empty());

  RootHandle job = Create("stiJob");
  qn_action* child = nullptr;
  EXPECT_EQ(qn_action_add_child(job.get(), "stiNoSuchThing", 0, &child, &error), QN_E_UNKNOWN_KIND);
  EXPECT_FALSE(Take(error).empty());
  EXPECT_EQ(ChildCount(job.get()), 0);
}

TEST_F(QuillonCApiTest, NullArgumentsGiveErrorsNotCrashes) {
  RootHandle job = Create("stiJob");
  qn_action* action = nullptr;
  char* text = nullptr;
  int count = 0;
  char* error = nullptr;
  EXPECT_EQ(qn_action_create(nullptr, &action, &error), QN_E_INVALID_ARGUMENT);
  EXPECT_FALSE(Take(error).empty());
  EXPECT_EQ(qn_action_create("stiJob", nullptr, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_add_child(nullptr, "stiMailSrcMbox", 1, &action, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_add_child(job.get(), nullptr, 1, &action, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_add_child(job.get(), "stiMailSrcMbox", 1, nullptr, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_child_count(nullptr, &count, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_child_count(job.get(), nullptr, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_child(nullptr, 0, &action, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_kind(nullptr, &text, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_load_file(nullptr, &action, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_load_string(nullptr, &action, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_save_file(job.get(), nullptr, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_save_string(nullptr, 0, &text, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_save_string(job.get(), 0, nullptr, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_execute(nullptr, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_abort(nullptr, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_action_error_count(nullptr, &count, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(qn_set_status_callback(nullptr, RecordStatus, nullptr), QN_E_INVALID_ARGUMENT);
  EXPECT_EQ(text, nullptr);
  qn_action_free(nullptr);
  qn_free_string(nullptr);
}

TEST_F(QuillonCApiTest, TextsAndFilesThatAreNoActionsFailToLoad) {
  for (const char* text : {"", "not base64 at all!", "{\"kind\": ", "{\"kind\": \"stiNoSuchThing\"}",
                           "[1, 2]", "QUJD"}) {
    qn_action* action = nullptr;
    char* error = nullptr;
    EXPECT_EQ(qn_action_load_string(text, &action, &error), QN_E_LOAD) << text;
    EXPECT_EQ(action, nullptr);
    EXPECT_FALSE(Take(error).empty()) << text;
  }
  qn_action* action = nullptr;
  char* error = nullptr;
  std::string missing = (Home / "missing.qaf").string();
  EXPECT_EQ(qn_action_load_file(missing.c_str(), &action, &error), QN_E_LOAD);
  EXPECT_NE(Take(error).find("missing.qaf"), std::string::npos);

  RootHandle job = Create("stiJob");
  std::string unwritable = (Home / "no-such-folder" / "tree.qaf").string();
  EXPECT_EQ(qn_action_save_file(job.get(), unwritable.c_str(), &error), QN_E_SAVE);
  EXPECT_FALSE(Take(error).empty());
}

TEST_F(QuillonCApiTest, OutOfRangeChildIndexAndBorrowedFreesAreHarmless) {
  RootHandle job = MailTree();
  qn_action* child = nullptr;
  char* error = nullptr;
  EXPECT_EQ(qn_action_child(job.get(), 1, &child, &error), QN_E_INDEX);
  EXPECT_FALSE(Take(error).empty());
  EXPECT_EQ(qn_action_child(job.get(), -1, &child, nullptr), QN_E_INDEX);
  EXPECT_EQ(child, nullptr);

  ASSERT_EQ(qn_action_child(job.get(), 0, &child, nullptr), QN_OK);
  qn_action_free(child);  // borrowed: ignored
  EXPECT_EQ(KindOf(child), "stiMailSrcMbox");
  EXPECT_EQ(ChildCount(job.get()), 1);
}

// ---------------------------------------------------------------- the shipped library

std::string RunCommand(const std::string& command, int& exitStatus) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    exitStatus = -1;
    return output;
  }
  char buffer[4096];
  size_t read = 0;
  while ((read = fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, read);
  exitStatus = pclose(pipe);
  return output;
}

TEST(QuillonCApiLibraryTest, SharedLibraryExportsOnlyTheCEntry) {
#ifndef QUILLON_SHARED_LIB_PATH
  GTEST_SKIP() << "built without the shared library's path";
#else
  int status = 0;
  RunCommand("command -v nm >/dev/null 2>&1", status);
  if (status != 0) GTEST_SKIP() << "nm is not installed";
  std::string symbols =
      RunCommand(std::string("nm -D --defined-only '") + QUILLON_SHARED_LIB_PATH + "'", status);
  ASSERT_EQ(status, 0) << symbols;
  EXPECT_NE(symbols.find(" qn_action_execute\n"), std::string::npos) << symbols;
  size_t lineStart = 0;
  while (lineStart < symbols.size()) {
    size_t lineEnd = symbols.find('\n', lineStart);
    if (lineEnd == std::string::npos) lineEnd = symbols.size();
    std::string line = symbols.substr(lineStart, lineEnd - lineStart);
    std::string name = line.substr(line.rfind(' ') + 1);
    // A lower-case type is a local symbol: the linker keeps some in the dynamic table when
    // linked C++ libraries (litehtml, qpdf) refer to the same template instances, but no
    // other object can bind to them.
    const size_t type = line.find(' ');
    const bool local = type != std::string::npos && type + 1 < line.size() && std::islower(static_cast<unsigned char>(line[type + 1]));
    if (!local) {
      EXPECT_EQ(name.rfind("qn_", 0), 0u) << "exported: " << line;
    }
    lineStart = lineEnd + 1;
  }
#endif
}

// A C89 compiler must take the header as it is.
TEST(QuillonCApiLibraryTest, HeaderCompilesAsStrictC89) {
  int status = 0;
  RunCommand("command -v cc >/dev/null 2>&1", status);
  if (status != 0) GTEST_SKIP() << "no C compiler installed";
  std::string header = std::string(QUILLON_SOURCE_DIR) + "/package/quillon.h";
  std::string output = RunCommand(
      "cc -std=c89 -pedantic-errors -Wall -Wextra -Werror -fsyntax-only -x c '" + header + "' 2>&1", status);
  EXPECT_EQ(status, 0) << output;
}

}  // namespace

#pragma once
// What a run did, read from the logs of its tree after it ends: totals, one entry per
// action (kind, Name, counters, the files and folders it writes, why it skipped what it
// skipped) and the errors, identical ones collapsed into one line with a count.

#include "Printer.h"

class TKwActionBase;

// {"processed", "saved", "skipped", "errors", "actions": [...], "errorLines": [...]}
TResult SummarizeRun(TKwActionBase& root);

// `kind "Name"`, or the kind alone for an action without a Name.
std::string ActionLabel(TKwActionBase& action);

// The summary's text form on stdout: the totals line, and each skipping action's reason.
void PrintRunSummaryText(const TResult& summary);
// At most `limit` error lines on stderr, then how many more the report holds.
void PrintRunErrors(const TResult& summary, int limit);

#include "uKwVariables.h"

#include <gtest/gtest.h>

#include <map>

TEST(TKwVariablesTest, OnlyDatesCountsBodiesAndHeadersLeaveTheStringType) {
  const std::map<TColumnField, TVariableType> special = {
      {cfSubmitDate, vtDateTime}, {cfDeliveryDate, vtDateTime}, {cfAttachCount, vtInteger},
      {cfHeaders, vtMemo},        {cfTextPart, vtMemo},         {cfHtmlPart, vtMemo},
  };
  for (int i = 0; i < TColumnFieldCount; ++i) {
    const auto field = static_cast<TColumnField>(i);
    SCOPED_TRACE(EnumToString(field));
    const auto found = special.find(field);
    EXPECT_EQ(ColumnFieldToVariableType(field), found == special.end() ? vtString : found->second);
  }
}

TEST(TKwVariablesTest, VariablesAreFoundByNameIgnoringCaseAndByColumnField) {
  TKwVariablesList list;
  TKwVariable& subject = list.Add("Subject", cfSubject, vtString, "Hello", true);
  list.Add("ToComma", cfToComma, vtString);
  list.Add("subject", cfFromName, vtString);  // a later namesake is never found first
  EXPECT_EQ(list.FindByName("SUBJECT"), &subject);
  EXPECT_EQ(list.FindByColumnField(cfToComma), &list.Items(1));
  EXPECT_EQ(list.IndexOfName("tocomma"), 1);
  EXPECT_EQ(list.FindByName("Subjec"), nullptr);
  EXPECT_EQ(list.FindByColumnField(cfLabels), nullptr);
  EXPECT_EQ(list.IndexOfColumnField(cfLabels), -1);
}

TEST(TKwVariablesTest, ReferencesStayValidWhileTheListGrows) {
  TKwVariablesList list;
  TKwVariable& first = list.Add("SubmitDate", cfSubmitDate, vtDateTime);
  for (int i = 1; i < TColumnFieldCount; ++i)
    list.Add(EnumToString(static_cast<TColumnField>(i)), static_cast<TColumnField>(i), vtString);
  first.Value = "45322";
  EXPECT_EQ(list.Items(0).Value, "45322");
  EXPECT_EQ(list.Count(), TColumnFieldCount);
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.FindByName("SubmitDate"), nullptr);
}

// ---- Error paths ----

TEST(TKwVariablesTest, OutOfRangeItemIsAnError) {
  TKwVariablesList list;
  EXPECT_THROW(list.Items(0), std::out_of_range);
  list.Add("A", cfSubject, vtString);
  EXPECT_THROW(list.Items(-1), std::out_of_range);
  EXPECT_EQ(list.FindByName(""), nullptr);
}

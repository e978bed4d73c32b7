// SPDX-License-Identifier: Apache-2.0
// The procedure tables: totals that were counted independently of the rows, classes against rows, calls that the
// compiler accepts.
#include "procedures/catalogue.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>

#include "procedures/calls.h"
#include "procedures/host_procedures.h"
#include "runtime/plugin/routine_library.h"
#include "tests/procedures/routine_double.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;

namespace {

std::vector<QV_ProcedureRow> Rows(const QV_ProcedureRow* (*rows)(long long*)) {
  long long count = 0;
  const QV_ProcedureRow* first = rows(&count);
  return {first, first + count};
}
template <class Rule>
long long Count(const std::vector<QV_ProcedureRow>& rows, Rule rule) {
  return std::count_if(rows.begin(), rows.end(), rule);
}

// The signature in the table's notation again.
std::string Notation(const QV_ProcedureRow& row) {
  std::string text;
  for (int k = 0; k < row.inputs + row.outputs; ++k) {
    if (k == row.inputs) text += "-> ";
    text += row.types[k] == kQvInteger ? "i"
            : row.types[k] == kQvReal  ? "r"
            : row.types[k] == kQvText  ? "s"
                                       : "?";
    text += row.dims[k] == 0 ? "" : row.dims[k] == 1 ? "[n]" : "[n,n]";
    text += k < row.inputs && row.is_variable[k] ? "* " : " ";
  }
  return text;
}

TEST(Catalogue, has_the_counted_totals) {
  const auto rows = Rows(&ProcedureRows);
  EXPECT_EQ(rows.size(), 61u);
  std::map<std::string, int> libraries;
  std::map<int, int> variants;
  std::set<std::string> routines;
  for (const auto& row : rows)
    ++libraries[row.library], ++variants[row.variant], routines.insert(row.routine);
  EXPECT_EQ(libraries, (std::map<std::string, int>{{"Corvanta", 51}, {"corvanta", 1}, {"Brisolt", 9}}));
  EXPECT_EQ(routines.size(), 61u);
  EXPECT_EQ(variants[1] + variants[2], 61);
  EXPECT_EQ(Count(rows, [](auto& r) { return r.derivatives; }), 20);
  EXPECT_EQ(Count(rows, [](auto& r) { return r.postcall; }), 16);
  EXPECT_EQ(Count(rows, [](auto& r) { return r.precall; }), 3);
  EXPECT_EQ(Count(rows, [](auto& r) { return r.always_call; }), 3);
  EXPECT_EQ(Count(rows, [](auto& r) { return r.component_list; }), 24);
  EXPECT_EQ(Count(rows, [](auto& r) { return r.dimensions == 0; }), 28);
  EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end(),
                             [](auto& a, auto& b) { return std::strcmp(a.class_name, b.class_name) < 0; }));
  for (const auto& row : rows) {
    EXPECT_EQ(std::string(row.routine).rfind("ZX40RM_", 0), 0u) << row.class_name;
    int dimensions = 0;
    for (int k = 0; k < row.inputs + row.outputs; ++k) dimensions += row.dims[k];
    EXPECT_EQ(row.dimensions, dimensions) << row.class_name;
  }
}

TEST(Catalogue, has_these_rows) {
  std::map<std::string, QV_ProcedureRow> row;
  for (const auto& one : Rows(&ProcedureRows)) row[one.class_name] = one;
  EXPECT_STREQ(row["QVProc_PRPPROFILE"].library, "corvanta");
  EXPECT_STREQ(row["QVProc_PRPPROFILE"].routine, "ZX40RM_spRPProfile");
  EXPECT_EQ(Notation(row["QVProc_PPCURVE"]),
            "s* i* i* i[n]* s* r* r[n]* r[n,n]* r[n,n]* r[n,n]* r[n]* r[n]* r* s* -> r r r ");
  EXPECT_EQ(Notation(row["QVProc_PPUMPCURVE"]),
            "s* i* i* i[n]* r* r[n]* r[n,n]* r[n,n]* r[n,n]* r* s* -> r ");
  EXPECT_EQ(Notation(row["QVProc_PRGIBBS"]), "s* i* r* r* r* r[n]* r* r* r* s* -> r[n] r[n,n] r[n] r[n] ");
  EXPECT_EQ(Notation(row["QVProc_PLIMIT_ABS"]), "r* r r -> r ");
  EXPECT_EQ(Notation(row["QVProc_PRAMP"]), "r* r r r r -> r ");
  EXPECT_EQ(Notation(row["QVProc_PENTH_MOLAR"]), "r r i -> r[n] ");
  EXPECT_EQ(row["QVProc_PRPDPDZ_USER"].inputs, 47);
  EXPECT_EQ(row["QVProc_PPCURVE"].dimensions, 10);
  for (const char* all_variable : {"QVProc_PMINRAMPA", "QVProc_PPSPEC"})
    EXPECT_EQ(Notation(row[all_variable]), "r* r* r* r* -> r ");
  EXPECT_TRUE(row["QVProc_PVTVOL"].derivatives && row["QVProc_PVTVOL"].component_list);
  EXPECT_TRUE(row["QVProc_PRADKUSER"].component_list && !row["QVProc_PRADKUSER"].postcall);

  const auto host = Rows(&HostProcedureRows);
  EXPECT_EQ(host.size(), 34u);
  for (const auto& one : host) row[one.class_name] = one;
  EXPECT_EQ(row.size(), 95u) << "no name stands in both tables";
  EXPECT_EQ(Notation(row["QVProc_PCP_MOL_VAP"]), "r* r* r[n]* -> r ");
  EXPECT_EQ(Notation(row["QVProc_PCP_MOL_LIQP"]), "r* r* r[n]* r* r[n]* r[n]* -> r ");
  EXPECT_EQ(Count(host, [](auto& r) { return r.inputs == 0; }), 3);
  for (const char* name : {"PLIMIT", "PLMTD", "PCOPY1"}) {
    EXPECT_STREQ(row[std::string("QVProc_") + name].library, "Brisolt");
    EXPECT_TRUE(row[std::string("QVProc_") + name].derivatives);
  }
}

// Every class answers as its row says, through the host's interface.
template <class Class>
void ExpectAnswersOf(const QV_ProcedureRow& row) {
  SCOPED_TRACE(row.class_name);
  Class object(true, 0);
  QV_ProcedureType& procedure = object;
  EXPECT_STREQ(procedure.ProcedureName(), row.routine);
  EXPECT_STREQ(procedure.DLLName(), row.library);
  EXPECT_EQ(Class::InputArgs(), row.inputs);
  EXPECT_EQ(Class::TotalArgs(), row.inputs + row.outputs);
  for (int k = 0; k < Class::TotalArgs(); ++k) {
    EXPECT_EQ(procedure.Type(k), row.types[k]);
    EXPECT_EQ(procedure.Dimensions(k), row.dims[k]);
    EXPECT_EQ(procedure.IsVariableInput(k), k < row.inputs && row.is_variable[k]);
  }
  EXPECT_EQ(procedure.ReturnsDerivatives(), row.derivatives);
  EXPECT_EQ(procedure.AlwaysCall(), row.always_call);
  // Without arguments a hook that exists is refused, one that does not succeeds.
  EXPECT_EQ(procedure.Precall(true), row.precall ? kArgumentsUnfit : 0);
  EXPECT_EQ(procedure.Postcall(true), row.postcall ? kArgumentsUnfit : 0);
  EXPECT_EQ((std::is_constructible_v<Class, bool, int, QV_COMPONENTLISTNAME*>), row.component_list);
}
TEST(Catalogue, classes_answer_as_their_rows) {
  auto rows = Rows(&ProcedureRows);
  const auto host = Rows(&HostProcedureRows);
  rows.insert(rows.end(), host.begin(), host.end());
  auto row = rows.begin();
#define PROCEDURE(NAME, ...) ExpectAnswersOf<QVProc_##NAME>(*row++);
#define COMPONENT_PROCEDURE(NAME, ...) PROCEDURE(NAME)
#include "procedures/catalogue.def"
#include "procedures/host_procedures.def"
#undef PROCEDURE
#undef COMPONENT_PROCEDURE
}

// The routine libraries of the build.
class Libraries : public testing::Test {
 protected:
  static void Twice(double* values, long long*, double* outputs, long long*, long long* in, long long* out,
                    long long* failure, long long*, double*, long long*, double*, long long*, long long*,
                    long long*) {
    outputs[out[0]] = 2 * values[in[0]];
    *failure = 0;
  }
  RoutineLibraries libraries{{QUIVER_BUILD_DIR "/no_such_folder", QUIVER_LIBRARY_DIR}};
};

TEST_F(Libraries, a_limit_is_computed_by_the_library_that_its_class_names) {
  RoutineProvider* const before = InstallRoutineProvider(&libraries);
  QV_REALVARIABLE x(true), low(true), high(true), y(true);
  QVProc_PLIMIT limit(true, 0);
  Give(low, 1.0), Give(high, 5.0), Give(y, 4.0), Give(x, 7.0);
  GiveTwice(limit, All(x, low, high, y));
  double r[1], rows[4];
  EXPECT_TRUE(EvaluateProcedure(limit, r, rows)) << LastProcedureFault().sentence;
  EXPECT_EQ(r[0], -1.0);
  EXPECT_THAT(rows, ElementsAre(0, 0, -1, 1));
  Give(x, 3.0);
  EXPECT_TRUE(EvaluateProcedure(limit, r, rows));
  EXPECT_THAT(rows, ElementsAre(-1, 0, 0, 1));
  Give(low, 9.0);
  EXPECT_FALSE(EvaluateProcedure(limit, r, rows)) << "bounds reversed";
  EXPECT_THAT(LastProcedureFault().sentence,
              testing::HasSubstr("Routine ZX40RM_splimit of library Brisolt: it reported"));
  InstallRoutineProvider(before);
}

TEST_F(Libraries, are_found_by_base_name_in_their_folders_only) {
  EXPECT_NE(libraries.Find("BRISOLT", "ZX40RM_splimit").address, nullptr);
  EXPECT_EQ(libraries.Find("brisolt", "ZX40RM_splimit").address,
            libraries.Find("Brisolt", "ZX40RM_splimit").address);
  EXPECT_EQ(libraries.OpenedFiles().size(), 1u);
  for (const std::string name :
       {QUIVER_LIBRARY_DIR "/libbrisolt.so", "../lib/brisolt", "..", "lib\\brisolt", ""}) {
    const auto found = libraries.Find(name.c_str(), "ZX40RM_splimit");
    EXPECT_EQ(found.address, nullptr) << name;
    EXPECT_EQ(found.reason,
              "that is no base name of a library. Give a name without folders, such as Corvanta.");
  }
  EXPECT_EQ(libraries.Find("Nowhere", "ZX40RM_x").reason,
            "there is no file " + SharedLibrary::FileName("nowhere") +
                " in " QUIVER_BUILD_DIR "/no_such_folder or " QUIVER_LIBRARY_DIR
                ". Install the library there, or name its folder.");
  EXPECT_THAT(libraries.Find("Brisolt", "ZX40RM_SPLIMIT").reason,
              testing::HasSubstr("has no routine of that name, but ZX40RM_splimit."));
  EXPECT_THAT(libraries.Find("Brisolt", "ZX40RM_spabsent").reason, testing::HasSubstr("Add it there"));
}

TEST_F(Libraries, give_way_to_routines_of_the_host) {
  void* const in_library = libraries.Find("Brisolt", "ZX40RM_splimit").address;
  libraries.RegisterBuiltIn("Brisolt", "ZX40RM_splimit", &Twice);
  EXPECT_NE(libraries.Find("Brisolt", "ZX40RM_splimit").address, in_library);
  libraries.RegisterBuiltIn("Properties", "ZX40RM_twice", &Twice);
  libraries.Describe("properties", "ZX40RM_twice", {.base_index = 1, .preset_outputs = true});
  const auto found = libraries.Find("PROPERTIES", "ZX40RM_twice");
  EXPECT_EQ(found.address, reinterpret_cast<void*>(&Twice));
  EXPECT_EQ(found.base_index, 1);
  EXPECT_TRUE(found.preset_outputs && !found.postset_inputs && !found.sixteen_arguments);
  EXPECT_THAT(libraries.Find("Properties", "ZX40RM_thrice").reason,
              testing::HasSubstr("the host's own Properties have no routine of that name"));
}

}  // namespace

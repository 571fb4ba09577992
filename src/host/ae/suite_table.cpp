#include "host/ae/suite_table.h"

namespace OZ::Host::AE {
namespace {

struct Row {
  const char* name;
  std::int32_t version;
};

constexpr Row kRows[] = {
#define OZ_AE_SUITE_ROW(accessor, name, version) {name, version},
    OZ_AE_ON_DEMAND_SUITES(OZ_AE_SUITE_ROW)
#undef OZ_AE_SUITE_ROW
};

[[noreturn]] void throwMissingSuite() { throw int(PF_Err_BAD_CALLBACK_PARAM); }

}  // namespace

SuiteTable::SuiteTable(const SPBasicSuite* basic) : basic_(basic) {
  if (!basic) throwMissingSuite();
}

SuiteTable::~SuiteTable() {
  for (std::size_t i = 0; i < std::size(kRows); ++i)
    if (entries_[i]) basic_->ReleaseSuite(kRows[i].name, kRows[i].version);
}

const void* SuiteTable::get(Suite suite) {
  const std::size_t i = std::size_t(suite);
  if (entries_[i]) return entries_[i];
  const void* acquired = nullptr;
  if (basic_->AcquireSuite(kRows[i].name, kRows[i].version, &acquired) != kSPNoError || !acquired) throwMissingSuite();
  entries_[i] = acquired;
  return acquired;
}

const char* SuiteTable::nameOf(Suite suite) { return kRows[std::size_t(suite)].name; }
std::int32_t SuiteTable::versionOf(Suite suite) { return kRows[std::size_t(suite)].version; }

}  // namespace OZ::Host::AE

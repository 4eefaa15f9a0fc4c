#pragma once

#include <gtest/gtest.h>
#include <hwy/highway.h>

#include <cstdint>
#include <string>

namespace borvik::testing {

/// A test that runs once by each form of the vector code that this processor can run, the plain
/// code of x86-64 among them.
class VectorForms : public ::testing::TestWithParam<std::int64_t> {
protected:
    void SetUp() override { hwy::GetChosenTarget().Update(GetParam()); }
    void TearDown() override { hwy::GetChosenTarget().DeInit(); }
};

inline std::string formName(const ::testing::TestParamInfo<std::int64_t>& form) {
    return hwy::TargetName(form.param);
}

}  // namespace borvik::testing

/// Defines the tests `TEST_P(name, ...)`, of a class `name` derived from `VectorForms`.
#define TESSOLT_FOR_EACH_VECTOR_FORM(name)                                                         \
    INSTANTIATE_TEST_SUITE_P(Each, name, ::testing::ValuesIn(hwy::SupportedAndGeneratedTargets()), \
                             ::borvik::testing::formName)

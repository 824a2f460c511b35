// Tests of the standard catalogue's shape and look-ups beside the family's:
// the same names, ids, argument counts and class words entry for entry (so
// a driver moves to it by its look-ups alone), and argument ranges that are
// every id's own.
#include <gtest/gtest.h>

#include <string>

#include "kxsupp/functions.h"
#include "kxsupp/standard.h"

namespace {

void expect_same_entry(const FunctionEntry &family, const FunctionEntry &standard)
{
    EXPECT_STREQ(standard.name, family.name);
    EXPECT_EQ(standard.id, family.id) << family.name;
    EXPECT_EQ(standard.arg_count, family.arg_count) << family.name;
    EXPECT_EQ(standard.result_class, family.result_class) << family.name;
    for (int k = 0; k < 11; ++k)
        EXPECT_EQ(standard.arg_class[k], family.arg_class[k]) << family.name << " argument " << k;
    EXPECT_NE(standard.impl, nullptr) << family.name;
}

TEST(StandardCatalogue, SpellsAndNumbersEveryFunctionAsTheFamilyDoes)
{
    for (int i = 0; i < KX_FUNCTION_COUNT; ++i)
        expect_same_entry(functions[i], kxstd_functions[i]);
    for (int i = 0; i < KX_SQL92_FUNCTION_COUNT; ++i)
        expect_same_entry(scalar_functions[i], kxstd_scalar_functions[i]);
}

TEST(StandardCatalogue, LooksNamesUpInAnyCase)
{
    for (int i = 0; i < KX_FUNCTION_COUNT; ++i) {
        std::string lower = kxstd_functions[i].name;
        for (char &c : lower)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        EXPECT_EQ(kxstd_get_function_id(lower.c_str(), 0), kxstd_functions[i].id) << lower;
        EXPECT_EQ(kxstd_get_function_id(lower.c_str(), 0),
                  sql92_get_function_id(lower.c_str(), 0));
    }
    EXPECT_EQ(kxstd_get_function_id("substring", 1), -4);
    EXPECT_EQ(kxstd_get_function_id("SUBSTR", 1), KX_FUNCTION_NOT_FOUND);
    EXPECT_EQ(kxstd_get_function_id("", 0), KX_FUNCTION_NOT_FOUND);
    EXPECT_EQ(kxstd_get_function_id(nullptr, 0), KX_FUNCTION_NOT_FOUND);
    EXPECT_STREQ(kxstd_get_function_name(9), "CHARACTER_LENGTH");
    EXPECT_STREQ(kxstd_get_function_name(-7), "LOWER");
    EXPECT_EQ(kxstd_get_function_name(999), nullptr);
    EXPECT_EQ(kxstd_get_function_info(60), &kxstd_functions[63]);  // SUBSTR, the first of id 60
}

TEST(StandardCatalogue, EveryIdReportsItsOwnArgumentRange)
{
    int32_t min = -1, max = -1;
    // the SQL-92 ids: the family reports the first SQL-92 entry for all
    sql92_get_function_arg_range(-3, &min, &max);
    EXPECT_EQ(min, 1);
    EXPECT_EQ(max, 1);
    kxstd_get_function_arg_range(-3, &min, &max);  // POSITION(a IN b)
    EXPECT_EQ(min, 2);
    EXPECT_EQ(max, 2);
    kxstd_get_function_arg_range(-4, &min, &max);  // SUBSTRING(x FROM a FOR b)
    EXPECT_EQ(min, 3);
    EXPECT_EQ(max, 3);
    // the main ids agree with the family's
    for (int i = 0; i < KX_FUNCTION_COUNT; ++i) {
        int32_t fmin = 0, fmax = 0;
        sql92_get_function_arg_range(kxstd_functions[i].id, &fmin, &fmax);
        kxstd_get_function_arg_range(kxstd_functions[i].id, &min, &max);
        EXPECT_EQ(min, fmin) << kxstd_functions[i].name;
        EXPECT_EQ(max, fmax) << kxstd_functions[i].name;
    }
    kxstd_get_function_arg_range(12345, &min, &max);
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 0);
}

}  // namespace

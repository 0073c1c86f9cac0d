/* Calls every type check as a C client does: with null, with a value and with a function. */
#include <kmath/kmath.h>

#include <stdio.h>

static int types = 0;
static int failures = 0;

static void expectOk(kmath_status status, const char *type, int line)
{
    if (status != KMATH_OK) {
        printf("line %d: the check of %s gives %#x\n", line, type, (unsigned)status);
        ++failures;
    }
}

#define EXPECT_OK(check) expectOk((check), type, __LINE__)

/* Functions of each kind that would show that they were called. */
#define FUNCTIONS(X)                                                                               \
    static X *pointerTo_##X(void) { return ++failures, NULL; }                                     \
    static X **handleOf_##X(void) { return ++failures, NULL; }                                     \
    static kmath_status statusOf_##X(X *value) { return (void)value, ++failures, KMATH_OK; }       \
    static kmath_status statusOfHandle_##X(X **handle)                                             \
    {                                                                                              \
        return (void)handle, ++failures, KMATH_OK;                                                 \
    }

KSYS_CHECKED_TYPES(FUNCTIONS)

#define CALLS(X)                                                                                   \
    {                                                                                              \
        static const char type[] = #X;                                                             \
        static X value;                                                                            \
        X *pointer = &value;                                                                       \
        EXPECT_OK(ksys_typeCheck_##X(NULL));                                                       \
        EXPECT_OK(ksys_typeCheck_##X(&value));                                                     \
        EXPECT_OK(ksys_typeCheckPtr_##X(NULL));                                                    \
        EXPECT_OK(ksys_typeCheckPtr_##X(&pointer));                                                \
        EXPECT_OK(ksys_typeCheckFunc_##X(NULL));                                                   \
        EXPECT_OK(ksys_typeCheckFunc_##X(pointerTo_##X));                                          \
        EXPECT_OK(ksys_typeCheckFuncPtr_##X(NULL));                                                \
        EXPECT_OK(ksys_typeCheckFuncPtr_##X(handleOf_##X));                                        \
        EXPECT_OK(ksys_typeCheckFuncStatus_##X(NULL));                                             \
        EXPECT_OK(ksys_typeCheckFuncStatus_##X(statusOf_##X));                                     \
        EXPECT_OK(ksys_typeCheckFuncStatusPtr_##X(NULL));                                          \
        EXPECT_OK(ksys_typeCheckFuncStatusPtr_##X(statusOfHandle_##X));                            \
        EXPECT_OK(ksys_typeCheck_##X##_##X##__unused__());                                         \
        failures += pointer != &value;                                                             \
        ++types;                                                                                   \
    }

int main(void)
{
    KSYS_CHECKED_TYPES(CALLS)
    printf("%d types, %d failures\n", types, failures);
    return types == 26 && failures == 0 ? 0 : 1;
}

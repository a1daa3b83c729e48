// Built only against the official SDK: every function of our list must have
// exactly the type the SDK declares, so our own declarations (the same list)
// can stand in for the SDK's headers.
#include <type_traits>

#include "MaxWrapperApi.h"

#if defined(MAXWRAPPER_USE_MAX_SDK)
#define MAXWRAPPER_CHECK(returnType, name, parameters, library)                                                     \
    static_assert(std::is_same_v<decltype(&name), returnType(*) parameters>, #name " differs from the SDK");
MAXWRAPPER_ALL_FUNCTIONS(MAXWRAPPER_CHECK)
#undef MAXWRAPPER_CHECK
#endif

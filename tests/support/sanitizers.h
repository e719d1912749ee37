/// \file
/// Which sanitizers the compiler puts into the program. g++ before 14 defines a macro for each, clang++ has
/// __has_feature instead.
#ifndef SUPPORT_SANITIZERS_H
#define SUPPORT_SANITIZERS_H

#if defined(__SANITIZE_ADDRESS__)
#    define WITH_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#    if __has_feature(address_sanitizer)
#        define WITH_ADDRESS_SANITIZER 1
#    endif
#endif

/// 1 in a program with the address sanitizer, which includes the leak check; otherwise 0.
#ifndef WITH_ADDRESS_SANITIZER
#    define WITH_ADDRESS_SANITIZER 0
#endif

#endif

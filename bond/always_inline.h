#pragma once

/// Marks the small steps of coding, which must not become calls in an optimised build. Left to its
/// limits, GCC calls some of them, which ones depends on how much else the source holds, and records
/// take up to a third longer. Without optimisation they stay functions of their own, to be stepped
/// through and to have their branches counted once.
#ifdef __OPTIMIZE__
#define BOND_ALWAYS_INLINE [[gnu::always_inline]]
#else
#define BOND_ALWAYS_INLINE
#endif

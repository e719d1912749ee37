/* Copyright 2026 the ozna kelpo port authors. SPDX-License-Identifier: MIT */  /// \file
/// The version of these headers, and the one place where the project's version is set: the build reads it here.
///
/// The version of a library that is loaded is in the name of its file, libozna_kelpo_port_2.so.1.0.0. The first number
/// rises with a change that breaks hosts that are already built, the second with new exports and new headers, the third
/// with everything else.
#ifndef OZNA_KELPO_VERSION_H
#define OZNA_KELPO_VERSION_H

#define OZNA_KELPO_VERSION_MAJOR 1
#define OZNA_KELPO_VERSION_MINOR 0
#define OZNA_KELPO_VERSION_PATCH 0

/// A version as one number, for the preprocessor: `#if OZNA_KELPO_VERSION >= OZNA_KELPO_VERSION_CHECK(1, 1, 0)`.
#define OZNA_KELPO_VERSION_CHECK(major, minor, patch) (((major) << 16) | ((minor) << 8) | (patch))

/// The version of these headers as one number.
#define OZNA_KELPO_VERSION                                                                                             \
    OZNA_KELPO_VERSION_CHECK(OZNA_KELPO_VERSION_MAJOR, OZNA_KELPO_VERSION_MINOR, OZNA_KELPO_VERSION_PATCH)

/// The name by which a panel loads the driver.
#define OZNA_KELPO_LIBRARY "libozna_kelpo_port_2.so.1"

#endif

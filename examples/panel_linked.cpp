// The panel of panel.cpp, linked against the driver instead of loading it.
//
//     c++ -fPIC -o panel_linked panel_linked.cpp $(pkg-config --cflags --libs ozna_kelpo_port) -pthread
//
// Without -fPIC the program would hold a copy of the driver's state, and the library would not use it.
//
// Copyright 2026 the ozna kelpo port authors. SPDX-License-Identifier: MIT
#define OZNA_KELPO_LINKED
#include "panel.cpp"

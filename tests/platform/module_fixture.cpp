// SPDX-License-Identifier: MIT
// A tiny loadable module for the module-loading tests.
extern "C" __attribute__((visibility("default"))) int vane_fixture_answer() { return 42; }

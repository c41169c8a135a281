// SPDX-License-Identifier: MIT
// Export and calling-convention macros for the kernel's flat families.
#pragma once

// Everything in libffvanek.so is hidden unless it carries VANE_EXPORT.
#define VANE_EXPORT __attribute__((visibility("default")))

// Flat C families are declared inside VANE_EXTERN_C blocks.
#ifdef __cplusplus
#define VANE_EXTERN_C extern "C"
#define VANE_BEGIN_EXTERN_C extern "C" {
#define VANE_END_EXTERN_C }
#else
#define VANE_EXTERN_C
#define VANE_BEGIN_EXTERN_C
#define VANE_END_EXTERN_C
#endif

// Windows calling-convention words carry no meaning on x86-64 Linux.
#define WINAPI
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define CALLBACK

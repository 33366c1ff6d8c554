/* SPDX-License-Identifier: MIT */
/* What every public header of tvlink needs: visibility and C linkage. */
#ifndef TVLINK_API_H
#define TVLINK_API_H

/* Marks what the shared library exports. */
#define TVLINK_API __attribute__((visibility("default")))

/* Open and close a block of declarations with C linkage. */
#ifdef __cplusplus
#define TVLINK_BEGIN extern "C" {
#define TVLINK_END }
#else
#define TVLINK_BEGIN
#define TVLINK_END
#endif

#endif

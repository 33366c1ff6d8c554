/* SPDX-License-Identifier: MIT */
/* Which slots of the method table phones reach, how, and which of them the host has filled. */
#ifndef TVLINK_HOST_SLOT_REPORT_H
#define TVLINK_HOST_SLOT_REPORT_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* How a request reaches a slot. */
typedef enum IppReach {
    IPP_REACH_GET,    /* a get request with a method code */
    IPP_REACH_SET,    /* a set request with a method code */
    IPP_REACH_INFO,   /* the get request for the device information, which has no code */
    IPP_REACH_DIRECT, /* no request: the host calls the handler */
    IPP_REACH_NEVER   /* nothing: the slot is reserved */
} IppReach;

/* What is told of one slot. */
typedef struct IppSlotInfo {
    const char *name;    /* its member's */
    const char *handler; /* the exported function that calls it; null for a reserved slot */
    const char *family;  /* of operations, as docs/PROTOCOL.md has them; null for a reserved one */
    const char *summary; /* null for a reserved slot */
    uint32_t number;     /* of the slot in TvMethodTable, from 0 */
    IppReach reach;      /* how requests come to it */
    uint16_t first_code; /* method codes from first_code to last_code; 0: none */
    uint16_t last_code;  /* the same as first_code where there is one */
    int32_t filled;      /* 1: the registered table has a function here */
} IppSlotInfo;

/* Calls the function once for each of the 87 slots, in the order of their numbers, on the calling
 * thread. The texts live as long as the program, the record during the call only. Any thread, also
 * before ipp_init; without a registered table no slot is filled. */
TVLINK_API void ipp_slot_report(void (*report)(const IppSlotInfo *slot, void *context),
                                void *context);

TVLINK_END

#endif

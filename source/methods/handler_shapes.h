/* What handlers share that differ in nothing but slot, code or tag. A slot is named by its place in
 * the method table. */
#pragma once

#include "methods/method_table.h"
#include "methods/replies.h"

#include <stdint.h>

/* A setter without an argument. */
int set_without_argument(CtrlPoint *cp, uint8_t *request, int32_t length,
                         int (*TvMethodTable::*slot)(void));

/* A setter of one byte behind its tag, which is checked. */
int set_u8(CtrlPoint *cp, uint8_t *request, int32_t length, const TagCheck &tag,
           const char *handler, int (*TvMethodTable::*slot)(uint8_t value));

/* A state that is asked for without an argument: its low 8 bits, or all 32. Silent without slot. */
int get_state_u8(CtrlPoint *cp, uint16_t code, int (*TvMethodTable::*slot)(void));
int get_state_u32(CtrlPoint *cp, uint16_t code, uint32_t (*TvMethodTable::*slot)(void));

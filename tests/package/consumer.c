/* SPDX-License-Identifier: MIT */
#include <stdio.h>
#include <string.h>

#include <tvlink.h>

int main(void)
{
    if (strcmp(ipp_version(), TVLINK_VERSION) != 0) {
        fprintf(stderr, "header %s, library %s\n", TVLINK_VERSION, ipp_version());
        return 1;
    }
    return 0;
}

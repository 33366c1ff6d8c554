/* SPDX-License-Identifier: MIT */
#include "controlpoint.h"

const char *cp_status_text(CpStatus status)
{
    switch (status) {
    case CP_OK:
        return "done";
    case CP_MORE:
        return "more bytes are needed";
    case CP_NOT_FOUND:
        return "not found";
    case CP_REFUSED:
        return "connection refused";
    case CP_TIMED_OUT:
        return "timed out";
    case CP_CLOSED:
        return "connection closed by the television";
    case CP_PROTOCOL:
        return "protocol error";
    case CP_BAD_ARGUMENT:
        return "bad argument";
    case CP_SYSTEM:
        return "system error";
    }
    return "unknown status";
}

/* The system as the service sees it in a session: connections whose calls fail when the input says
 * so, steps at which other threads go on, and the input's own time. */
#pragma once

/* Until restore_system_calls(). */
void take_system_calls();

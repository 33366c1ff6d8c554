/* The system as the service sees it in a session: connections whose calls fail when the input says
 * so, steps at which other threads go on, and the input's own time. */
#pragma once

/* Until system_calls is cleared. */
void take_system_calls();

/* For the control port while it is opened. */
void take_listener_calls(bool taken);

/* The television's operations in the form in which the library calls them, one file for each
 * family. */
#ifndef TVLINK_SIM_SLOTS_H
#define TVLINK_SIM_SLOTS_H

#include <string>

#include "tvlink.h"

namespace sim
{

void fill_application_slots(TvMethodTable &table);
void fill_control_slots(TvMethodTable &table);
void fill_list_slots(TvMethodTable &table);
void fill_player_slots(TvMethodTable &table);
void fill_screen_slots(TvMethodTable &table, const std::string &font_file);
void fill_settings_slots(TvMethodTable &table);
void fill_video_slots(TvMethodTable &table);

/* For tv_ippRpcFunSet. "help" answers with the requests that it knows. */
int answer_rpc(char *answer, const char *request);

} // namespace sim

#endif

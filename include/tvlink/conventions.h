/* SPDX-License-Identifier: MIT */
/* Words for the wire: method codes, value tags and frame types, and what the simulator and the
 * control point mean by the numbers that the library only carries.
 *
 * The first three are facts of the protocol (docs/PROTOCOL.md). The others are an agreement between
 * a television and its phones (docs/LISTS.md): a television that keeps to it works with every phone
 * that does. */
#ifndef TVLINK_CONVENTIONS_H
#define TVLINK_CONVENTIONS_H

/* ---- Facts of the protocol; scripts/protocol renews them ---- */

/* clang-format off */
/* begin: frame types */
enum {
    IPP_FRAME_GET = 0x05, /* get request */
    IPP_FRAME_GET_REPLY = 0x06, /* reply to a get request, or a pushed list */
    IPP_FRAME_SET = 0x07, /* set request */
    IPP_FRAME_SET_REPLY = 0x08, /* reply to a set request */
    IPP_FRAME_EVENT = 0x09, /* event */
    IPP_FRAME_NO_OP = 0x0A, /* no operation */
    IPP_FRAME_RPC = 0x21, /* string call */
    IPP_FRAME_RPC_REPLY = 0x22, /* reply to a string call */
    IPP_FRAME_HEARTBEAT = 0xEE, /* heartbeat */
};
/* end */

/* A code from X to X_LAST reaches the operation. */
/* begin: method codes */
enum {
    IPP_CODE_SET_TV_CHANNEL = 0x0101, /* set: channel up, down */
    IPP_CODE_SET_TV_CHANNEL_LAST = 0x0102,
    IPP_CODE_SET_TV_KEY = 0x0109, /* set: key */
    IPP_CODE_SET_TV_VOLUME = 0x010F, /* set: volume up, down */
    IPP_CODE_SET_TV_VOLUME_LAST = 0x0110,
    IPP_CODE_SET_TV_TEXTPAIR = 0x0112, /* set: two texts */
    IPP_CODE_GET_TV_TEXT = 0x0112, /* get: the text that is being typed */
    IPP_CODE_GET_TV_NAME = 0x0B01, /* get: name of the television */
    IPP_CODE_GET_EUROPE_VERSION = 0x4024, /* get: version */
    IPP_CODE_GET_TV_CODE0001 = 0x0001, /* get: a state */
    IPP_CODE_GET_TV_CODE0105 = 0x0105, /* get: a state */
    IPP_CODE_GET_TV_CODE010E = 0x010E, /* get: a state */
    IPP_CODE_GET_TV_CODE2005 = 0x2005, /* get: a state */
    IPP_CODE_GET_TV_EPG = 0x2000, /* get: guide */
    IPP_CODE_GET_TV_SIMPLEEPG = 0x2001, /* get: simple guide */
    IPP_CODE_GET_TV_EPGWEEK = 0x2002, /* get: guide of a week */
    IPP_CODE_GET_TV_SEARCHSIMPLEEPG = 0x2003, /* get: search in the guide */
    IPP_CODE_GET_TV_CHANNELCODE = 0x3000, /* get: channels */
    IPP_CODE_GET_TV_CHANNELCODE2 = 0x3002, /* get: channels in another form */
    IPP_CODE_GET_TV_CHANNELCODE3 = 0x4016, /* get: channels that a text selects */
    IPP_CODE_GET_TV_ORDER = 0x2007, /* get: order of channels */
    IPP_CODE_GET_PLAY_STATUS = 0x1501, /* get: state of the player */
    IPP_CODE_GET_PLAY_POSITION = 0x1502, /* get: position */
    IPP_CODE_GET_PLAY_DURATION = 0x1503, /* get: duration */
    IPP_CODE_SET_PLAY_SEEK = 0x1502, /* set: seek */
    IPP_CODE_SET_PLAY_VOLUME = 0x1504, /* set: volume of the player */
    IPP_CODE_SET_PLAY_ADDR = 0x1505, /* set: address of a stream */
    IPP_CODE_SET_PLAY_SPEED = 0x1506, /* set: speed; reserved */
    IPP_CODE_SET_PLAY_START = 0x1507, /* set: play */
    IPP_CODE_SET_PLAY_PAUSE = 0x1508, /* set: pause */
    IPP_CODE_SET_PLAY_STOP = 0x1509, /* set: stop */
    IPP_CODE_SET_PLAY_OPERATION = 0x1510, /* set: operation of the player, which the code names */
    IPP_CODE_SET_PLAY_OPERATION_LAST = 0x1516,
    IPP_CODE_SET_PLAY_ADDR2 = 0x1517, /* set: address and data */
    IPP_CODE_GET_TV_VODSTR = 0x200E, /* get: text */
    IPP_CODE_GET_TV_VODSTR2 = 0x4018, /* get: text */
    IPP_CODE_GET_TV_VODSTATUS = 0x200F, /* get: status, 280 bytes */
    IPP_CODE_GET_TV_VODSTATUS2 = 0x4021, /* get: status, 280 bytes */
    IPP_CODE_GET_TV_VODINTARRAY = 0x2010, /* get: numbers of 4 bytes */
    IPP_CODE_GET_TV_VODINTARRAY2 = 0x401C, /* get: numbers of 4 bytes */
    IPP_CODE_GET_TV_VODARRAYSTRING = 0x2011, /* get: texts in cells of 256 bytes */
    IPP_CODE_GET_TV_VODARRAYSTRING2 = 0x401B, /* get: texts in cells of 256 bytes */
    IPP_CODE_GET_TV_VODPLAYER = 0x2018, /* get: state of its player */
    IPP_CODE_GET_TV_VODPLAYER_V2 = 0x401E, /* get: state of its player */
    IPP_CODE_GET_STARTPLAYER = 0x4020, /* get: start the player */
    IPP_CODE_GET_TV_METADATA = 0x4003, /* get: metadata */
    IPP_CODE_GET_TV_INSTALLAPKLIST = 0x4001, /* get: applications */
    IPP_CODE_GET_TV_CURRENTPOSITION = 0x4002, /* get: current position */
    IPP_CODE_SET_TV_SETTING_MTNADATA = 0x4008, /* set: metadata setting */
    IPP_CODE_GET_TV_CODE400A = 0x400A, /* get: query */
    IPP_CODE_GET_TV_CODE400B = 0x400B, /* get: query */
    IPP_CODE_GET_TV_CODE400C = 0x400C, /* get: query */
    IPP_CODE_GET_TV_CODE400D = 0x400D, /* get: query */
    IPP_CODE_GET_TV_CODE4015 = 0x4015, /* get: query */
    IPP_CODE_TV_SENDVOICE = 0x401F, /* get: voice; only a failure is answered */
    IPP_CODE_GET_SCREEN_SHOT2 = 0x0118, /* get: capture of the screen */
    IPP_CODE_METHODSTRING = 0x5004, /* string call: string call */
};
/* end */

/* begin: value tags */
enum {
    IPP_TAG_U8 = 0x02,
    IPP_TAG_U16 = 0x03,
    IPP_TAG_PORT = 0x04,
    IPP_TAG_I32 = 0x05,
    IPP_TAG_U32 = 0x06,
    IPP_TAG_STRING = 0x08,
    IPP_TAG_BLOB = 0x0C,
    IPP_TAG_POINT = 0xA0,
    IPP_TAG_LZW_LIST2 = 0xA1,
    IPP_TAG_LIST = 0xA2,
    IPP_TAG_GUIDE_LIST = 0xA3,
    IPP_TAG_RECORD = 0xA4,
    IPP_TAG_LZW_LIST = 0xA5,
};
/* end */

/* clang-format on */

/* ---- Agreed between televisions and phones ---- */

/* The codes of keys, which are those of the Linux input subsystem. */
enum {
    IPP_KEY_0 = 11,
    IPP_KEY_1 = 2,
    IPP_KEY_2 = 3,
    IPP_KEY_3 = 4,
    IPP_KEY_4 = 5,
    IPP_KEY_5 = 6,
    IPP_KEY_6 = 7,
    IPP_KEY_7 = 8,
    IPP_KEY_8 = 9,
    IPP_KEY_9 = 10,
    IPP_KEY_UP = 103,
    IPP_KEY_DOWN = 108,
    IPP_KEY_LEFT = 105,
    IPP_KEY_RIGHT = 106,
    IPP_KEY_OK = 28,
    IPP_KEY_BACK = 158,
    IPP_KEY_HOME = 102,
    IPP_KEY_MENU = 139,
    IPP_KEY_EXIT = 174,
    IPP_KEY_INFO = 358,
    IPP_KEY_GUIDE = 362,
    IPP_KEY_POWER = 116,
    IPP_KEY_MUTE = 113,
    IPP_KEY_VOLUME_UP = 115,
    IPP_KEY_VOLUME_DOWN = 114,
    IPP_KEY_CHANNEL_UP = 402,
    IPP_KEY_CHANNEL_DOWN = 403,
    IPP_KEY_PLAY = 207,
    IPP_KEY_PAUSE = 119,
    IPP_KEY_STOP = 128,
    IPP_KEY_REWIND = 168,
    IPP_KEY_FORWARD = 208,
    IPP_KEY_RED = 398,
    IPP_KEY_GREEN = 399,
    IPP_KEY_YELLOW = 400,
    IPP_KEY_BLUE = 401,
};

/* The codes of events, and what their value, text and data are. */
enum {
    IPP_EVENT_CHANNEL = 0x7001,       /* value: channel number; text: its name */
    IPP_EVENT_VOLUME = 0x7002,        /* value: 0 to 100 */
    IPP_EVENT_MUTE = 0x7003,          /* value: 0 or 1 */
    IPP_EVENT_POWER = 0x7004,         /* value: 0 standby, 1 on */
    IPP_EVENT_PICTURE = 0x7005,       /* value: picture mode; text: its name */
    IPP_EVENT_TEXT = 0x7006,          /* value: length; text: the text typed */
    IPP_EVENT_ORDER = 0x7007,         /* value: channels; data: their numbers, 2 bytes each */
    IPP_EVENT_PHONE = 0x7008,         /* value: 1 paired; text: the phone */
    IPP_EVENT_NAME = 0x7009,          /* text: the television's new name */
    IPP_EVENT_KEY = 0x700A,           /* value: key code; text: the key's name */
    IPP_EVENT_PLAYER = 0x700B,        /* value: 0 stopped, 1 playing, 2 paused; text: address */
    IPP_EVENT_POSITION = 0x700C,      /* value: seconds, after a seek; text: address */
    IPP_EVENT_PLAYER_VOLUME = 0x700D, /* value: 0 to 255 */
    IPP_EVENT_VIDEO = 0x700E,         /* value: kept values; text: name of the one that changed */
    IPP_EVENT_DEMO = 0x700F,          /* value: a running number (--event-every) */
    IPP_EVENT_SETTING = 0x7010,       /* value: kind; text: the setting's name */
    IPP_EVENT_APPLICATION = 0x7011,   /* value: applications; text: the new one's name */
    IPP_EVENT_PLACE = 0x7012,         /* text: where the television stands */
    IPP_EVENT_NICKNAME = 0x7013,      /* text: the new nickname */
};

/* The states of a player. */
enum {
    IPP_PLAYER_STOPPED = 0,
    IPP_PLAYER_PLAYING = 1,
    IPP_PLAYER_PAUSED = 2,
};

/* Selectors of IPP_CODE_GET_TV_CODE010E, and the picture modes; any other selector asks for the
 * picture mode. */
enum {
    IPP_SELECT_VOLUME = 0,
    IPP_SELECT_PICTURE = 1,
};
enum {
    IPP_PICTURE_STANDARD = 0,
    IPP_PICTURE_VIVID = 1,
    IPP_PICTURE_CINEMA = 2,
    IPP_PICTURE_GAME = 3,
};

#endif

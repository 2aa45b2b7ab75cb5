// The texts of tarnreg. Each is looked up by name in the language that is current when it is needed.
#pragma once

#include <tarnkit/messages.h>

extern Tarn::CError ERR_TARNREG_BAD_FILE;
extern Tarn::CError ERR_TARNREG_CANT_EXPORT;
extern Tarn::CMessage MSG_TARNREG_BAD_DATA;
extern Tarn::CMessage MSG_TARNREG_BAD_ESCAPE;
extern Tarn::CMessage MSG_TARNREG_BAD_KEY;
extern Tarn::CMessage MSG_TARNREG_BAD_KEY_LINE;
extern Tarn::CMessage MSG_TARNREG_BAD_NUMBER;
extern Tarn::CMessage MSG_TARNREG_BAD_OPTION;
extern Tarn::CMessage MSG_TARNREG_BAD_TEXT;
extern Tarn::CMessage MSG_TARNREG_BAD_TYPE;
extern Tarn::CMessage MSG_TARNREG_DAMAGED;
extern Tarn::CMessage MSG_TARNREG_EXISTS;
extern Tarn::CMessage MSG_TARNREG_FAILED;
extern Tarn::CMessage MSG_TARNREG_HAS_SUB_KEYS;
extern Tarn::CMessage MSG_TARNREG_HELP;
extern Tarn::CMessage MSG_TARNREG_LOST_KEYS;
extern Tarn::CMessage MSG_TARNREG_NAME_TOO_LONG;
extern Tarn::CMessage MSG_TARNREG_NO_EQUALS_SIGN;
extern Tarn::CMessage MSG_TARNREG_NO_HEADER;
extern Tarn::CMessage MSG_TARNREG_NO_KEY;
extern Tarn::CMessage MSG_TARNREG_NO_LINE_END;
extern Tarn::CMessage MSG_TARNREG_NO_QUOTE;
extern Tarn::CMessage MSG_TARNREG_NO_STORE;
extern Tarn::CMessage MSG_TARNREG_NO_VALUE;
extern Tarn::CMessage MSG_TARNREG_REPAIRED;
extern Tarn::CMessage MSG_TARNREG_ROOT;
extern Tarn::CMessage MSG_TARNREG_SOUND;
extern Tarn::CMessage MSG_TARNREG_SYSTEM_KEEPS_IT;
extern Tarn::CMessage MSG_TARNREG_UNKNOWN_LINE;
extern Tarn::CMessage MSG_TARNREG_UNNAMED;
extern Tarn::CMessage MSG_TARNREG_UNREADABLE_PAGES;
extern Tarn::CMessage MSG_TARNREG_USAGE;
extern Tarn::CMessage MSG_TARNREG_VALUE_WITHOUT_KEY;

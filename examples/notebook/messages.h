// The texts of the notebook. Each is looked up by name in the language that is current when it is needed.
#pragma once

#include <tarnkit/messages.h>

extern Tarn::CError ERR_NOTEBOOK_USAGE;
extern Tarn::CError ERR_NOTEBOOK_BAD_NUMBER;
extern Tarn::CError ERR_NOTEBOOK_BAD_CODE_PAGE;
extern Tarn::CError ERR_NOTEBOOK_BAD_COLOR;
extern Tarn::CError ERR_NOTEBOOK_BAD_LANGUAGE;
extern Tarn::CError ERR_NOTEBOOK_BAD_LOG;
extern Tarn::CError ERR_NOTEBOOK_BAD_ORDER;
extern Tarn::CError ERR_NOTEBOOK_BAD_SETTING;
extern Tarn::CError ERR_NOTEBOOK_BAD_TIME;
extern Tarn::CError ERR_NOTEBOOK_NO_BOOK;
extern Tarn::CError ERR_NOTEBOOK_NO_NOTE;
extern Tarn::CError ERR_NOTEBOOK_NO_WINDOWS;
extern Tarn::CError ERR_NOTEBOOK_CANT_DECODE;
extern Tarn::CError ERR_NOTEBOOK_CANT_ENCODE;
extern Tarn::CMessage MSG_NOTEBOOK_EMPTY;
extern Tarn::CMessage MSG_NOTEBOOK_EXPORTED;
extern Tarn::CMessage MSG_NOTEBOOK_IMPORTED;
extern Tarn::CMessage MSG_NOTEBOOK_WOULD_WRITE;

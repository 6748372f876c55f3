// What the logger's own files share.
#ifndef LOG_INTERNAL_H
#define LOG_INTERNAL_H

#include "log/log_config.h"

/** Gives the record its time and hands it to the output device. */
void KOLS_Config_Logger_deliverI(struct KOLS_Config_Logger *self, struct NUVLogRecord *record);

#endif

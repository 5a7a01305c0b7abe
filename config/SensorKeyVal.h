#pragma once
// Correction of stored values against the ranges the ISP reports.
#include "controller/SensorTypes.h"

int keyval_correct(int p_nChannel_id, KeyVal* p_pKeyval, u32 count);

// Out-of-line destructor: the video module's type information lives here.
#include "platform/VideoStreamModule.h"

VideoStreamModule::~VideoStreamModule() {}

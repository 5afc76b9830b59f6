#include "bleMessages.h"

BLECommandMsg::BLECommandMsg() : Msg(CAT_CGI_BP_REQ) {}

BLECommandMsg::~BLECommandMsg() = default;

ZvNetMsg::ZvNetMsg() : Msg(CAT_CGI_BP_REQ) {}

ZvNetMsg::~ZvNetMsg() = default;

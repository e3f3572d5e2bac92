#include "MasterDeviceChecker.h"

#include "GlobalData.h"

MasterDeviceChecker::MasterDeviceChecker(GlobalData* g, Broadcast* b, Settings* s)
    : global(g), broadcast(b), settings(s)
{
    startTimer(10000);
}

MasterDeviceChecker::~MasterDeviceChecker()
{
    stopTimer();
}

void MasterDeviceChecker::startCheck() {}

void MasterDeviceChecker::timerCallback()
{
    startCheck();
}

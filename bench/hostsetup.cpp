#include "hostsetup.h"

HostSetup& hostSetup()
{
    static HostSetup setup;
    return setup;
}

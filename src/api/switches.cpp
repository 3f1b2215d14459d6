// The processor switches, for the whole process and without a context.
#include "kestrova.h"
#include "stereo/processor.h"

void kestrovaEnableMMXIfAvailable(bool enable)
{
    kestrova::enableMMXIfAvailable(enable);
}

void kestrovaEnableSSEIfAvailable(bool enable)
{
    kestrova::enableSSEIfAvailable(enable);
}

void kestrovaEnableSSE2IfAvailable(bool enable)
{
    kestrova::enableSSE2IfAvailable(enable);
}

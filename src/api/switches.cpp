// The processor switches, for the whole process and without a context.
#include "kernels/processor.h"
#include "kestrova.h"

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

// A program whose own classes and functions have the names of ours. Each of them aborts: if the library ever reached
// one of these instead of its own, the program would end.
#include "kestrova.h"

#include "smallSet.h"

#define FOREIGN_CLASS(name)                                                                                            \
    class name                                                                                                         \
    {                                                                                                                  \
    public:                                                                                                            \
        name();                                                                                                        \
        name(const name&);                                                                                             \
        ~name();                                                                                                       \
        void* m_aMembers[4];                                                                                           \
    };                                                                                                                 \
    name::name()                                                                                                       \
    {                                                                                                                  \
        std::abort();                                                                                                  \
    }                                                                                                                  \
    name::name(const name&)                                                                                            \
    {                                                                                                                  \
        std::abort();                                                                                                  \
    }                                                                                                                  \
    name::~name()                                                                                                      \
    {                                                                                                                  \
        std::abort();                                                                                                  \
    }

FOREIGN_CLASS(BilinearWarper3)
FOREIGN_CLASS(BoxFilter)
FOREIGN_CLASS(Camera)
FOREIGN_CLASS(ExecutorPool)
FOREIGN_CLASS(Image)
FOREIGN_CLASS(ImageRow)
FOREIGN_CLASS(LYRTransform3d)
FOREIGN_CLASS(MultiContext)
FOREIGN_CLASS(PixelBuffer)
FOREIGN_CLASS(StereoContext)
FOREIGN_CLASS(WarpMapFunc)
FOREIGN_CLASS(WarpSpline)
FOREIGN_CLASS(Warper)
FOREIGN_CLASS(WarperList)

#define FOREIGN_FUNCTION(name)                                                                                         \
    extern "C" void name();                                                                                            \
    extern "C" void name()                                                                                             \
    {                                                                                                                  \
        std::abort();                                                                                                  \
    }

FOREIGN_FUNCTION(abs_diff)
FOREIGN_FUNCTION(getActiveContext)
FOREIGN_FUNCTION(lowpassRectify)
FOREIGN_FUNCTION(rowInc)
FOREIGN_FUNCTION(standardStereo)
FOREIGN_FUNCTION(stereo_min)

int main()
{
    KestrovaContext context = nullptr;
    CHECK_OK(kestrovaGetDefaultContextFromMemory(&context, smallCalibration()));
    runSmallFrame(context);
    CHECK_OK(kestrovaDestroyContext(context));
    return 0;
}

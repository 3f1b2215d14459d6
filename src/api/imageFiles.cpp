// Images to and from files.
#include "api/settingShims.h"
#include "files/OutputFile.h"
#include "imageio/imageComment.h"
#include "imageio/imageInfo.h"
#include "imageio/pnmWrite.h"
#include "kestrova.h"

using namespace kestrova;

namespace {

KestrovaError writeResult(bool bWritten)
{
    return bWritten ? KestrovaErrorOk : KestrovaErrorSystem;
}

/** A record that has pixels as it says; an image without rows or columns needs none. */
template<class Record, class... Planes>
bool isWhole(const Record* pRecord, const Planes*... pPlanes)
{
    return pRecord->nrows >= 0 && pRecord->ncols >= 0 &&
           (pRecord->nrows == 0 || pRecord->ncols == 0 || (... && (pPlanes != nullptr)));
}

/** A view over the pixels of a record, whose row distance counts bytes. */
template<class T, class Record>
Image<T> viewOf(const Record& rRecord, T* pPixels)
{
    return Image<T>(rRecord.nrows, rRecord.ncols, rRecord.rowinc / static_cast<int>(sizeof(T)), pPixels);
}

/** get, then comment, then write: the common road of the two forms that save an image of the context. */
template<class Record, class Type>
KestrovaError saveExtra(KestrovaContext context, Type eType, KestrovaCamera eCamera, const char* pszPath,
                        KestrovaError (*pfnGet)(KestrovaContext, Type, KestrovaCamera, Record*),
                        KestrovaError (*pfnComment)(const StereoContext&, Type, KestrovaCamera, std::string&))
{
    return onActiveContext(context, [&](const StereoContext& rContext) {
        Record image;
        std::string comment;
        KestrovaError eError = pfnGet(context, eType, eCamera, &image);
        if (eError == KestrovaErrorOk) {
            eError = pfnComment(rContext, eType, eCamera, comment);
        }
        return eError != KestrovaErrorOk ? eError
                                         : writeResult(dump_pgm(pszPath, viewOf(image, image.data), comment.c_str()));
    });
}

template<class Record>
KestrovaError readExtra(const char* pszPath, Record* pImage, KestrovaImageInfo* pInfo,
                        bool (*pfnRead)(const char*, Record*, char*))
{
    if (pszPath == nullptr || pImage == nullptr || pInfo == nullptr) {
        return KestrovaErrorInvalidParameter;
    }
    char acComment[sk_nCommentSize] = "";
    return pfnRead(pszPath, pImage, acComment) ? parseImageInfo(acComment, pInfo) : KestrovaErrorImageFileRead;
}

} // namespace

KestrovaError kestrovaSaveImage(const KestrovaImage* image, const char* path)
{
    return isWhole(image, image->data) ? writeResult(dump_pgm(path, viewOf(*image, image->data), nullptr))
                                       : KestrovaErrorInvalidParameter;
}

KestrovaError kestrovaSaveImage16(const KestrovaImage16* image, const char* path)
{
    // Its header differs from that of the form with a comment: no comment line, and a blank at the end. Readers of
    // these files count on it.
    if (!isWhole(image, image->data)) {
        return KestrovaErrorInvalidParameter;
    }
    OutputFile file(path);
    if (file.stream() == nullptr) {
        return KestrovaErrorSystem;
    }
    std::fprintf(file.stream(), "P5\n%d %d\n%d ", image->ncols, image->nrows, 65535);
    const Image<std::uint16_t> view = viewOf(*image, image->data);
    for (int nRow = 0; nRow < view.nRows(); ++nRow) {
        std::fwrite(&view[nRow][0], 2, static_cast<std::size_t>(view.nCols()), file.stream());
    }
    return writeResult(file.finish());
}

KestrovaError kestrovaSaveColorImage(const KestrovaColorImage* image, const char* path)
{
    if (!isWhole(image, image->red, image->green, image->blue)) {
        return KestrovaErrorInvalidParameter;
    }
    return writeResult(
        dump_ppm(path, viewOf(*image, image->red), viewOf(*image, image->green), viewOf(*image, image->blue)));
}

KestrovaError kestrovaSavePackedColorImage(const KestrovaPackedColorImage* image, const char* path)
{
    return isWhole(image, image->data) ? writeResult(dump_ppm(path, viewOf(*image, image->data)))
                                       : KestrovaErrorInvalidParameter;
}

KestrovaError kestrovaSaveImageExtra(KestrovaContext context, KestrovaImageType type, KestrovaCamera camera,
                                     const char* path)
{
    return saveExtra(context, type, camera, path, kestrovaGetImage, generatePgmComment);
}

KestrovaError kestrovaSaveImage16Extra(KestrovaContext context, KestrovaImage16Type type, KestrovaCamera camera,
                                       const char* path)
{
    return saveExtra(context, type, camera, path, kestrovaGetImage16, generatePgm16Comment);
}

KestrovaError kestrovaReadImageExtra(const char* path, KestrovaImage* image, KestrovaImageInfo* info)
{
    return readExtra(path, image, info, pgmReadToKestrovaImageWithComment);
}

KestrovaError kestrovaReadImage16Extra(const char* path, KestrovaImage16* image, KestrovaImageInfo* info)
{
    return readExtra(path, image, info, pgmReadToKestrovaImage16WithComment);
}

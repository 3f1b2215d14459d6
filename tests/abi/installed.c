/* Reads one pixel through the installed library, without a word of the companion. */
#include <kestrova.h>
#include <stdlib.h>

int main(int argc, char** argv)
{
    KestrovaImage image;
    KestrovaImageInfo info;
    if (argc != 2 || kestrovaReadImageExtra(argv[1], &image, &info) != KestrovaErrorOk || image.data[0] != 'x') {
        return 1;
    }
    free(image.data);
    return info.hasComment;
}

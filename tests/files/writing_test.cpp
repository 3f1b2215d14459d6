// Writes that do not arrive: each function says so and leaves nothing that passes for a file of its kind.
#include "geometry/LYRPointCloud3d.h"
#include "support/StereoFrame.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <thread>

namespace kestrova::test {
namespace {

constexpr int sk_nSize = 300; // of an image, more than any buffer of a stream holds

/** Every function that writes, on a path that ends with ".trans". */
struct Writers
{
    std::vector<unsigned char> bytes = std::vector<unsigned char>(4 * sk_nSize * sk_nSize, 'x');
    KestrovaImage image{sk_nSize, sk_nSize, sk_nSize, bytes.data()};
    KestrovaImage16 image16{sk_nSize, sk_nSize, 2 * sk_nSize, reinterpret_cast<unsigned short*>(bytes.data())};
    KestrovaColorImage colour{sk_nSize, sk_nSize, sk_nSize, bytes.data(), bytes.data(), bytes.data()};
    KestrovaPackedColorImage packed{sk_nSize, sk_nSize, 4 * sk_nSize, reinterpret_cast<Pixel8x4*>(bytes.data())};
    KestrovaTransform transform{};
    LYRPointCloud3d cloud;
    Handle h = open(Shape::Horizontal);
    using Write = std::function<KestrovaError(const char*)>;
    std::vector<std::pair<const char*, Write>> all;

    Writers()
    {
        StereoFrame frame(240, 320, 5);
        KestrovaInput input = frame.planes();
        expectOk({kestrovaPreprocess(h, &input), kestrovaStereo(h)});
        cloud.insertPoint(new LYRPoint3d(1, 2, 3));
        const auto said = [](bool b) { return b ? KestrovaErrorOk : KestrovaErrorSystem; };
        all = {
            {"image", [this](auto p) { return kestrovaSaveImage(&image, p); }},
            {"16 bits", [this](auto p) { return kestrovaSaveImage16(&image16, p); }},
            {"colour", [this](auto p) { return kestrovaSaveColorImage(&colour, p); }},
            {"packed", [this](auto p) { return kestrovaSavePackedColorImage(&packed, p); }},
            {"with comment",
             [this](auto p) { return kestrovaSaveImageExtra(h, KestrovaImgEdge, KestrovaCamReference, p); }},
            {"16 with comment",
             [this](auto p) { return kestrovaSaveImage16Extra(h, KestrovaImg16Disparity, KestrovaCamReference, p); }},
            {"text", [this](auto p) { return kestrovaWriteDefaultContextToFile(h, p); }},
            {"settings", [this](auto p) { return kestrovaWriteCurrentContextToFile(h, p); }},
            {"transform",
             [this](auto p) {
                 return kestrovaWriteTransformToFile(std::string(p, std::strlen(p) - 6).c_str(), &transform);
             }},
            {"cloud", [=, this](auto p) { return said(cloud.save(p)); }},
            {"VRML", [=, this](auto p) { return said(cloud.saveVRML(p)); }},
        };
        transform.matrix[0][0] = transform.matrix[1][1] = transform.matrix[2][2] = transform.matrix[3][3] = 1;
    }
};

/** What a failed write of this name is called. */
KestrovaError failureOf(const std::string& rName)
{
    return rName == "transform" ? KestrovaErrorTransformFileCorrupt : KestrovaErrorSystem;
}

} // namespace

TEST(Writing, AFullDiskIsTheFailureOfEveryFunction)
{
    const Writers writers;
    const TempFile link("", ".trans");
    std::filesystem::remove(link.path());
    std::filesystem::create_symlink("/dev/full", link.path());
    for (const auto& [pszName, write] : writers.all) {
        EXPECT_EQ(write(link.path()), failureOf(pszName)) << pszName;
    }
}

TEST(Writing, AFileThatIsCutIsLeftEmpty)
{
    const Writers writers;
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto pfnBefore = std::signal(SIGXFSZ, SIG_IGN);
    for (const auto& [pszName, write] : writers.all) {
        const TempFile file("what stood there", ".trans");
        const TempFile whole("", ".trans");
        EXPECT_EQ(write(whole.path()), KestrovaErrorOk) << pszName;
        const rlimit shorter{whole.content().size() - 1, before.rlim_max}; // the last byte is refused
        setrlimit(RLIMIT_FSIZE, &shorter);
        const KestrovaError eError = write(file.path());
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(eError, failureOf(pszName)) << pszName;
        EXPECT_EQ(file.content(), "") << pszName;
    }
    std::signal(SIGXFSZ, pfnBefore);
}

TEST(Writing, SignalsDoNotEndIt)
{
    const Writers writers;
    const TempFile pipe("", ".trans");
    std::remove(pipe.path());
    ASSERT_EQ(mkfifo(pipe.path(), 0600), 0);
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    struct sigaction before = {};
    sigaction(SIGALRM, &action, &before); // without SA_RESTART
    const itimerval each{{0, 500}, {0, 500}};
    const itimerval never{};
    for (const std::size_t uWriter : {0, 3}) { // larger than a pipe
        const auto& [pszName, write] = writers.all[uWriter];
        std::string arrived;
        std::thread reader([&] {
            sigset_t alarm;
            sigemptyset(&alarm);
            sigaddset(&alarm, SIGALRM);
            pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
            std::this_thread::sleep_for(std::chrono::milliseconds(20)); // the other end waits for one, then for room
            std::ifstream file(pipe.path(), std::ios::binary);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            arrived.assign(std::istreambuf_iterator<char>(file), {});
        });
        setitimer(ITIMER_REAL, &each, nullptr);
        const KestrovaError eError = write(pipe.path());
        setitimer(ITIMER_REAL, &never, nullptr);
        if (eError != KestrovaErrorOk) { // the reader may still wait for another end
            const int nOther = ::open(pipe.path(), O_RDWR);
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            ::close(nOther);
        }
        reader.join();
        const TempFile whole;
        EXPECT_TRUE(eError == KestrovaErrorOk && write(whole.path()) == KestrovaErrorOk) << pszName;
        EXPECT_EQ(arrived, whole.content()) << pszName;
    }
    sigaction(SIGALRM, &before, nullptr);
}

TEST(Writing, RecordsThatHoldNoImageAreRefused)
{
    Writers writers;
    const TempFile file("what stood there");
    const auto refused = [&] {
        for (std::size_t u = 0; u < 4; ++u) {
            EXPECT_EQ(writers.all[u].second(file.path()), KestrovaErrorInvalidParameter) << writers.all[u].first;
        }
        EXPECT_EQ(file.content(), "what stood there");
    };
    const auto setAllSizes = [&](int nRows, int nCols) {
        writers.image.nrows = writers.image16.nrows = writers.colour.nrows = writers.packed.nrows = nRows;
        writers.image.ncols = writers.image16.ncols = writers.colour.ncols = writers.packed.ncols = nCols;
    };
    for (const auto& [nRows, nCols] : {std::pair{-1, 3}, {3, -1}, {0, -1}, {-2, 0}}) {
        setAllSizes(nRows, nCols);
        refused();
    }
    setAllSizes(2, 2);
    writers.image.data = writers.colour.blue = nullptr;
    writers.image16.data = nullptr;
    writers.packed.data = nullptr;
    refused();
    setAllSizes(0, 2);
    EXPECT_EQ(kestrovaSaveImage(&writers.image, file.path()), KestrovaErrorOk) << "no rows, no pixels";
    EXPECT_EQ(file.content(), "P5\n\n2 0\n255\n");
}

} // namespace kestrova::test

// Shader files of any kind, of any name, through GlShaderMgr, on an OpenGL that answers anything: a text arrives whole,
// once for each path, and the process ends where the pages say so, and nowhere else.

#include "cvprocess/gpuStdShaders/GlShaderMgr.h"
#include "tests/fuzz/Draws.h"
#include "tests/fuzz/Files.h"
#include "tests/support/ScriptedGl.h"

#include <GL/glew.h>

#include <cstdint>
#include <map>
#include <memory>
#include <system_error>

namespace {

/// Thrown where the process would have ended.
struct Ended
{
    int status;
};

} // namespace

/// The linker puts it in the place of exit().
extern "C" [[noreturn]] void __wrap_exit(int status);
extern "C" [[noreturn]] void __real_exit(int status);

namespace velmor::tests {
namespace {

using cvprocess::GlShaderMgr;

bool isCalling = false;

constexpr int kReturned = 0, kFailed = -1;

/// How a call ends: kReturned, or with what status the process does.
template<typename Call>
int statusOf(const Call& call)
{
    isCalling = true;
    int status = kReturned;
    try {
        call();
    } catch (const Ended& ended) {
        status = ended.status;
    }
    isCalling = false;
    return status;
}

/// A path of which there may be a file: a few that come again, a folder, and any.
std::string drawPath(Bytes& bytes)
{
    switch (bytes.ConsumeIntegralInRange(0, 4)) {
    case 0:
        return bytes.ConsumeRandomLengthString(300);
    case 1:
        return ".";
    default:
        return std::string(1, bytes.ConsumeIntegralInRange('a', 'd'));
    }
}

/// What there is at each path of a letter, beside what was loaded from there.
class Model
{
public:
    void call(Bytes& bytes);

private:
    void load(Bytes& bytes, const std::string& path);
    void read(const std::string& path) const;

    bool isThere(const std::string& path) const { return mContents.count(path) != 0; }

    ScriptedGl& mGl = ScriptedGl::instance();
    std::map<std::string, std::string> mContents;
    std::map<std::string, GLuint> mLoaded; ///< 0 for what could not be opened
    std::unique_ptr<GlShaderMgr> mManager = std::make_unique<GlShaderMgr>();
};

/// Texts end at the first zero.
std::string untilZero(const std::string& text)
{
    return text.substr(0, text.find('\0'));
}

void Model::load(Bytes& bytes, const std::string& path)
{
    const bool isNew = mLoaded.count(path) == 0;
    mGl.compiles = !oneIn(bytes, 8);
    if (oneIn(bytes, 8))
        mGl.errorOfCall["glAttachShader"] = GL_INVALID_OPERATION;
    mGl.shaderLog = oneIn(bytes, 4) ? untilZero(bytes.ConsumeRandomLengthString(300)) : "";
    GLuint shader = 99;
    bool isLoaded = false;
    const Errors errors;
    const int status = statusOf(
        [&] { isLoaded = mManager->loadAndAttachShaderFromFile(7, GL_FRAGMENT_SHADER, path.c_str(), shader); });
    if (!isNew) {
        require(status == kReturned && isLoaded && shader == mLoaded[path], "a path is loaded again");
    } else if (path == ".") {
        require(status == kFailed && errors.text() == "ERROR: Could not load shader file: .\n", "a folder is a file");
        mLoaded[path] = 0;
    } else if (!isThere(path)) {
        require(status == kReturned && !isLoaded && shader == 99, "a file that is not there is loaded");
        mLoaded[path] = 0;
    } else if (!mGl.compiles) {
        require(status == kFailed && errors.text() == "ERROR: Unable to compile " + path + ".\n",
                "a text that does not compile is loaded");
        mLoaded[path] = shader;
    } else {
        const bool attaches = mGl.errorOfCall.empty();
        require(status == (attaches ? kReturned : kFailed) && isLoaded == attaches, "an error of OpenGL is overlooked");
        mLoaded[path] = shader;
    }
    if (isNew && isThere(path))
        require(mGl.shaderSources.at(shader) == untilZero(mContents[path]), "another text arrives");
    mGl.errorOfCall.clear();
    mGl.errors.clear();
}

void Model::read(const std::string& path) const
{
    std::unique_ptr<char[]> text;
    const Errors errors;
    const int status = statusOf([&] { text.reset(GlShaderMgr::readShaderFile(path.c_str())); });
    const bool isEmpty = isThere(path) && mContents.at(path).empty();
    if (isThere(path) && !isEmpty)
        require(status == kFailed && errors.text() == "ERROR: Could not load shader file: " + path + "\n",
                "a file that is not empty is read");
    else if (path != ".")
        require(status == kReturned && (isEmpty ? text && text[0] == '\0' : !text), "an empty file is not read");
    else
        require(status == kFailed, "a folder is read");
}

void Model::call(Bytes& bytes)
{
    std::string path = untilZero(drawPath(bytes));
    const bool isLetter = path.size() == 1 && path[0] >= 'a' && path[0] <= 'd';
    std::error_code unknown; // of what is no path
    if (!isLetter && path != "." && std::filesystem::exists(path, unknown))
        path = "b/";
    if (isLetter && bytes.ConsumeBool())
        write(path, mContents[path] = bytes.ConsumeRandomLengthString(2000));
    if (bytes.ConsumeBool())
        load(bytes, path);
    else
        read(path);
}

} // namespace
} // namespace velmor::tests

extern "C" void __wrap_exit(int status)
{
    if (velmor::tests::isCalling)
        throw Ended{status};
    __real_exit(status);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace velmor::tests;
    static const WorkingFolder folder;
    for (const char* const name : {"a", "b", "c", "d"})
        remove(name);
    ScriptedGl::instance().reset();
    ScriptedGl::instance().recording = false;
    Bytes bytes(data, size);
    Model model;
    for (int call = 0; call < 8 && bytes.remaining_bytes() > 0; ++call)
        model.call(bytes);
    return 0;
}

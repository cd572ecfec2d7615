#include "cvprocess/gpuStdShaders/GlShaderMgr.h"

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/internal/Announcements.h"

#include <GL/glew.h>

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>

namespace velmor::cvprocess {
namespace {

using Text = std::unique_ptr<char[]>;

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Room for a text of that many characters and a terminating zero; null when there is no memory.
Text allocateText(std::size_t length)
{
    Text text(new (std::nothrow) char[length + 1]);
    if (text)
        text[length] = '\0';
    return text;
}

[[noreturn]] void fail(const std::string& message, int status)
{
    std::cerr << message << std::endl;
    std::exit(status);
}

/// Size in bytes; -1 for what has none, such as a folder, which opens like a file.
long sizeOf(std::FILE* file)
{
    struct stat status;
    if (fstat(fileno(file), &status) != 0 || S_ISDIR(status.st_mode))
        return -1;
    if (std::fseek(file, 0, SEEK_END) != 0)
        return -1;
    const long size = std::ftell(file);
    std::rewind(file);
    return size;
}

/// The whole text of a file, or null when it cannot be read whole.
Text readWhole(std::FILE* file)
{
    const long size = sizeOf(file);
    if (size < 0)
        return nullptr;
    const auto length = static_cast<std::size_t>(size);
    Text text = allocateText(length);
    if (text && std::fread(text.get(), 1, length, file) < length)
        text.reset();
    return text;
}

const unsigned char* glslText(const char* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

/// Reads "major.minor" from a text of the driver, which may be null.
bool parseVersion(const GLubyte* text, int& major, int& minor)
{
    if (text && std::sscanf(reinterpret_cast<const char*>(text), "%d.%d", &major, &minor) == 2)
        return true;
    major = minor = 0;
    return false;
}

/// A line of GLSL as a line of a C++ string literal, without its end.
/// @param inComment  whether a block comment is open; kept from line to line
std::string convertedLine(std::string line, bool& inComment)
{
    // Both positions are those in the line as it was read, though the first edit shortens it by a character.
    const std::size_t opening = line.find("/*");
    const std::size_t closing = line.find("*/");
    if (opening != std::string::npos) {
        inComment = true;
        line.replace(opening, 2, "/");
    }
    if (closing != std::string::npos) {
        inComment = false;
        line.replace(closing, 1, "\\");
        line.replace(closing + 1, 1, "n");
        line.insert(closing + 2, "\\\n");
    }
    for (std::size_t quote = line.find('"'); quote != std::string::npos; quote = line.find('"', quote + 2))
        line.insert(quote, "\\");
    return inComment ? "// " + line : line;
}

void attachCompiledShader(unsigned int progObj, unsigned int shaderObj, const std::string& announcement)
{
    GlShaderMgr::printShaderInfoLog(shaderObj);
    glAttachShader(progObj, shaderObj);
    if (GlFbo::checkGlErrors(nullptr))
        std::exit(-1);
    announcements() << announcement << std::endl;
}

/// Fills an entry of a table of shaders. Where there is no memory for that, the entry is not there.
template<typename Table, typename Fill>
void fillOrErase(Table& table, typename Table::iterator entry, const Fill& fill)
{
    try {
        fill(entry->second);
    } catch (const std::exception&) {
        glDeleteShader(entry->second);
        table.erase(entry);
        throw;
    }
}

} // namespace

GlShaderMgr::GlShaderMgr()
{
    checkSupportForProgrammableShaders();
}

GlShaderMgr::~GlShaderMgr()
{
    resetProgObj();
    for (const auto& entry : mProgObjs)
        glDeleteProgram(entry.second);
    for (const auto& entry : mShaderObjs)
        glDeleteShader(entry.second);
}

bool GlShaderMgr::registerProgObj(const std::string& name, unsigned int& progObj)
{
    const auto [entry, isNew] = mProgObjs.emplace(name, 0);
    if (isNew)
        entry->second = glCreateProgram();
    progObj = entry->second;
    return isNew;
}

bool GlShaderMgr::loadAndAttachShaderFromString(const unsigned int& progObj, unsigned int shaderType,
                                                const std::string& source, unsigned int& shaderObj)
{
    const auto [entry, isNew] = mShaderObjs.emplace(source, 0);
    if (!isNew) {
        announcements() << "shader already loaded" << std::endl;
        shaderObj = entry->second;
        return true;
    }
    fillOrErase(mShaderObjs, entry, [&](unsigned int& shader) {
        shaderObj = shader = glCreateShader(shaderType);
        if (!compileGlsl(shader, glslText(source.c_str()))) {
            printShaderInfoLog(shader);
            fail("ERROR: Unable to compile shader Id: " + std::to_string(shader), -1);
        }
        attachCompiledShader(progObj, shader, "Attached shader Id: " + std::to_string(shader));
    });
    return true;
}

bool GlShaderMgr::loadAndAttachShaderFromFile(const unsigned int& progObj, unsigned int shaderType, const char* path,
                                              unsigned int& shaderObj)
{
    const auto [entry, isNew] = mShaderObjs.emplace(path, 0);
    if (!isNew) {
        announcements() << "shader already loaded" << std::endl;
        shaderObj = entry->second;
        return true;
    }
    File file(std::fopen(path, "r"));
    if (!file)
        return false; // the entry stays, with id 0: the same path is not tried again
    fillOrErase(mShaderObjs, entry, [&](unsigned int& shader) {
        Text text = readWhole(file.get());
        file.reset();
        if (!text)
            fail(std::string("ERROR: Could not load shader file: ") + path, -1);

        shaderObj = shader = glCreateShader(shaderType);
        const bool compiled = compileGlsl(shader, glslText(text.get()));
        text.reset();
        if (!compiled)
            fail(std::string("ERROR: Unable to compile ") + path + ".", -1);
        attachCompiledShader(progObj, shader, std::string("Attached shader: ") + path);
    });
    return true;
}

bool GlShaderMgr::compileGlsl(unsigned int shaderObj, const unsigned char* source)
{
    const GLchar* const text = reinterpret_cast<const GLchar*>(source);
    glShaderSource(shaderObj, 1, &text, nullptr);
    glCompileShader(shaderObj);
    GLint compiled = 0;
    glGetShaderiv(shaderObj, GL_COMPILE_STATUS, &compiled);
    return compiled != 0;
}

bool GlShaderMgr::linkShadersToProgram(unsigned int progObj)
{
    glLinkProgram(progObj);
    printProgramInfoLog(progObj);
    GLint linked = 0;
    glGetProgramiv(progObj, GL_LINK_STATUS, &linked);
    if (!linked) {
        std::cerr << "ERROR: Linking failed." << std::endl;
        return false;
    }
    announcements() << "Shader validation" << std::endl;
    glValidateProgram(progObj);
    GLint validated = 0;
    glGetProgramiv(progObj, GL_VALIDATE_STATUS, &validated);
    if (!validated) {
        std::cerr << "ERROR: Validation failed." << std::endl;
        return false;
    }
    printProgramInfoLog(progObj);
    return true;
}

// The two printers differ in where the first error check stands and in the text of the allocation failure.

void GlShaderMgr::printProgramInfoLog(unsigned int progObj)
{
    GLint length = 0;
    glGetProgramiv(progObj, GL_INFO_LOG_LENGTH, &length);
    GlFbo::checkGlErrors("printProgramInfoLog");
    if (length > 1) {
        const Text log = allocateText(static_cast<std::size_t>(length) - 1);
        if (!log)
            fail("ERROR: Could not allocate InfoLog buffer", 1);
        GLsizei written = 0;
        glGetProgramInfoLog(progObj, length, &written, log.get());
        announcements() << "Program InfoLog:" << std::endl << log.get() << std::endl;
    }
    GlFbo::checkGlErrors("printProgramInfoLog");
}

void GlShaderMgr::printShaderInfoLog(unsigned int shaderObj)
{
    GlFbo::checkGlErrors("printShaderInfoLog");
    GLint length = 0;
    glGetShaderiv(shaderObj, GL_INFO_LOG_LENGTH, &length);
    if (length > 1) {
        const Text log = allocateText(static_cast<std::size_t>(length) - 1);
        if (!log)
            fail("Could not allocate InfoLog buffer", 1);
        GLsizei written = 0;
        glGetShaderInfoLog(shaderObj, length, &written, log.get());
        announcements() << "Shader InfoLog:" << std::endl << log.get() << std::endl;
    }
    GlFbo::checkGlErrors("printShaderInfoLog");
}

void GlShaderMgr::useProgObj(unsigned int progObj)
{
    glUseProgram(progObj);
}

void GlShaderMgr::resetProgObj()
{
    glUseProgram(0);
}

void GlShaderMgr::getGlVersion(int& major, int& minor)
{
    if (!parseVersion(glGetString(GL_VERSION), major, minor))
        std::cerr << "Invalid GL_VERSION format!!" << std::endl;
}

void GlShaderMgr::getGlslVersion(int& major, int& minor)
{
    int glMajor = 0;
    int glMinor = 0;
    getGlVersion(glMajor, glMinor);
    major = minor = 0;
    if (glMajor == 1) {
        const GLubyte* const extensions = glGetString(GL_EXTENSIONS);
        if (extensions && std::strstr(reinterpret_cast<const char*>(extensions), "GL_ARB_shading_language_100")) {
            major = 1;
            minor = 9; // what this case has always been reported as
        }
    } else if (glMajor >= 2) {
        if (!parseVersion(glGetString(GL_SHADING_LANGUAGE_VERSION), major, minor))
            std::cerr << "Invalid GL_SHADING_LANGUAGE_VERSION format!" << std::endl;
    }
}

bool GlShaderMgr::checkSupportForProgrammableShaders()
{
    if (!glewIsSupported("GL_VERSION_2_0"))
        fail("ERROR: OpenGL 2.0 not found.", 1);
    announcements() << "Ready for OpenGL 2.x programmable shaders." << std::endl;
    return true;
}

int GlShaderMgr::convertShaderFileToString(const char* inFile, const char* outFile, bool append)
{
    std::ifstream in(inFile);
    if (!in) {
        std::cerr << "Unable to open input file";
        return -1;
    }
    std::ofstream out(outFile, append ? std::ios::app : std::ios::trunc);
    std::string name = inFile;
    name.replace(name.find('.'), 1, "_"); // throws where there is no dot
    out << "\n"
        << "// ####### THIS STRING IS AUTOMATICALLY GENERATED FROM FILE: " << inFile << " #######\n"
        << "std::string " << name << "=\"\\\n";
    if (!out.is_open()) {
        std::cerr << "Unable to open output file";
        return -1;
    }
    in.exceptions(std::ios::badbit); // else a line that there is no memory for ends the text
    bool inComment = false;
    try {
        for (std::string line; std::getline(in, line);)
            out << convertedLine(line, inComment) << "\\n\"\"\\\n";
    } catch (const std::ios::failure&) { // what cannot be read ends it
    }
    out << "\"; // ### END OF SHADER STRING ###\n";
    return 1;
}

char* GlShaderMgr::readShaderFile(const char* path)
{
    const File file(std::fopen(path, "r"));
    if (!file)
        return nullptr;
    Text text = readWhole(file.get());
    // Read a second time, at the end of the file: only an empty one gives as much as before. Kept as it is.
    if (text) {
        const auto length = static_cast<std::size_t>(std::ftell(file.get()));
        if (std::fread(text.get(), 1, length, file.get()) < length)
            text.reset();
    }
    if (!text)
        fail(std::string("ERROR: Could not load shader file: ") + path, -1);
    return text.release();
}

} // namespace velmor::cvprocess

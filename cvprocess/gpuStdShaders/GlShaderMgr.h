#pragma once

#include "cvprocess/Export.h"

#include <cstdint>
#include <map>
#include <string>

namespace velmor::cvprocess {

/// The GLSL programs and shaders of one filter: creates, compiles, attaches, links, validates and deletes them.
///
/// The manager owns every program and shader that it makes, and lends out their ids. Progress goes to std::cout, errors
/// to std::cerr. Where no usable shader is left the process ends with exit(). A program that does not link or validate
/// is reported and kept.
///
/// All operations need an OpenGL context that is current on the calling thread, and GLEW to be initialised.
class VELMOR_CVPROCESS_EXPORT GlShaderMgr
{
public:
    /// Ends the process when OpenGL 2.0 is missing; see checkSupportForProgrammableShaders().
    GlShaderMgr();
    GlShaderMgr(const GlShaderMgr&) = delete;
    GlShaderMgr& operator=(const GlShaderMgr&) = delete;

    /// Stops using any program, then deletes the programs and the shaders, each in the order of their keys.
    virtual ~GlShaderMgr();

    /// Finds the program of a name, or makes an empty one when the name is new.
    /// @param name          any text; filters take the path of their source file
    /// @param[out] progObj  the program's id
    /// @return              true when the name was new; false means that the program is built already
    bool registerProgObj(const std::string& name, unsigned int& progObj);

    /// Compiles a shader and attaches it to a program. The source text is the key: a text that was loaded before is not
    /// compiled or attached again, not even to another program.
    /// @param progObj         the program's id
    /// @param shaderType      GL_VERTEX_SHADER, GL_FRAGMENT_SHADER, or another one that the driver takes
    /// @param source          GLSL text
    /// @param[out] shaderObj  the shader's id
    /// @return                true; a shader that does not compile or attach ends the process with exit(-1)
    bool loadAndAttachShaderFromString(const unsigned int& progObj, unsigned int shaderType, const std::string& source,
                                       unsigned int& shaderObj);

    /// Does what loadAndAttachShaderFromString() does, with the text of a file. The path is the key.
    /// @param progObj         the program's id
    /// @param shaderType      as for loadAndAttachShaderFromString()
    /// @param path            file of GLSL text
    /// @param[out] shaderObj  the shader's id; 0 for a path that could not be opened before
    /// @return                false when the file cannot be opened. A file that cannot be read whole, does not compile
    ///                        or does not attach ends the process with exit(-1)
    bool loadAndAttachShaderFromFile(const unsigned int& progObj, unsigned int shaderType, const char* path,
                                     unsigned int& shaderObj);

    /// Compiles a shader object from a zero-terminated text.
    /// @return  whether it compiled
    static bool compileGlsl(unsigned int shaderObj, const unsigned char* source);

    /// Links and validates a program and prints its info log.
    /// @return  false when either failed, after a message
    static bool linkShadersToProgram(unsigned int progObj);

    /// Prints a program's info log, if it holds text.
    static void printProgramInfoLog(unsigned int progObj);

    /// Prints a shader's info log, if it holds text. Errors that OpenGL still holds are reported first, so that an old
    /// one is not blamed on what follows.
    static void printShaderInfoLog(unsigned int shaderObj);

    /// Makes a program current.
    static void useProgObj(unsigned int progObj);

    /// Makes no program current.
    static void resetProgObj();

    /// Version of OpenGL; 0.0 and a message when the driver's text cannot be read.
    static void getGlVersion(int& major, int& minor);

    /// Version of GLSL: 1.9 for OpenGL 1.x with GL_ARB_shading_language_100, 0.0 where there is none.
    static void getGlslVersion(int& major, int& minor);

    /// @return  true; without OpenGL 2.0 the process ends with exit(1)
    static bool checkSupportForProgrammableShaders();

    /// Turns a GLSL file into the source text of a std::string constant, as filters carry their shaders.
    ///
    /// The constant gets the name of the file with its first dot replaced by an underscore. So give a bare file name,
    /// such as "flip.frag" for `flip_frag`. Lines inside block comments become line comments. By design, where a block
    /// comment opens and closes on one line, the text behind its end comes out one character off.
    /// @param inFile   GLSL file
    /// @param outFile  source file to write
    /// @param append   whether to write after what the file holds
    /// @return         1, or -1 after a message when a file does not open
    /// @throws std::out_of_range  when inFile has no dot
    static int convertShaderFileToString(const char* inFile, const char* outFile, bool append);

    /// Reads a shader file into a new buffer. By design the file is read twice, the second time from its end, so that
    /// every file but an empty one ends the process with exit(-1). Nothing here uses this function. To load a shader
    /// use loadAndAttachShaderFromFile().
    /// @return  an empty text to be freed with delete[], or null when the file does not open
    static char* readShaderFile(const char* path);

private:
    std::map<std::string, std::uint32_t> mProgObjs;   ///< by name
    std::map<std::string, std::uint32_t> mShaderObjs; ///< by source text or file path
};

} // namespace velmor::cvprocess

#include "python/binding/Texts.h"

namespace velmor::python {
namespace {

std::string shapeText(int channels)
{
    return channels == 1 ? "(height, width)" : "(height, width, " + std::to_string(channels) + ")";
}

std::vector<std::string> dtypeTexts(const Takes& takes)
{
    std::vector<std::string> texts;
    for (const int depth : takes.depths) {
        if (depth == CV_8U)
            texts.push_back("bool");
        texts.push_back(depthText(depth));
        if (depth == CV_32F)
            texts.push_back("float64");
    }
    return texts;
}

} // namespace

std::string listText(const std::vector<std::string>& items)
{
    std::string text = items.front();
    for (std::size_t i = 1; i < items.size(); ++i)
        text += (i + 1 < items.size() ? ", " : " or ") + items[i];
    return text;
}

std::string textOf(const py::dtype& type, const std::vector<py::ssize_t>& shape)
{
    py::tuple tuple(shape.size());
    for (std::size_t i = 0; i < shape.size(); ++i)
        tuple[i] = shape[i];
    return std::string(py::str(py::handle(type))) + " of shape " + std::string(py::str(py::handle(tuple)));
}

std::string textOf(const py::array& array)
{
    return textOf(array.dtype(), {array.shape(), array.shape() + array.ndim()});
}

std::string textOf(const Takes& takes)
{
    std::vector<std::string> shapes;
    for (const int channels : takes.channels)
        shapes.push_back(shapeText(channels));
    if (shapes.empty())
        shapes = {"(height, width)", "(height, width, channels)"};
    return "an array of " + listText(dtypeTexts(takes)) + " of shape " + listText(shapes);
}

std::string depthText(int depth)
{
    switch (depth) {
    case CV_8U:
        return "uint8";
    case CV_16U:
        return "uint16";
    case CV_32S:
        return "uint32";
    default:
        return "float32";
    }
}

std::string firstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

} // namespace velmor::python

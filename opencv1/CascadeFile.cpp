#include "opencv1/CascadeFile.h"

#include "opencv1/XmlElement.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace velmor::opencv1 {
namespace {

constexpr int kMaxSide = 4096;    ///< of a window; those that are trained have some tens of pixels
constexpr int kLbpPatterns = 256; ///< eight neighbours, each brighter or not
constexpr std::size_t kSubsetWords = kLbpPatterns / 32;

struct Rectangle
{
    int x = 0, y = 0, width = 0, height = 0;
    float weight = 0.0f; ///< Haar alone
};

struct Feature
{
    std::vector<Rectangle> rectangles; ///< two or three, with LBP the upper left of nine
    bool isTilted = false;
};

struct Node
{
    int left = 0, right = 0; ///< another node, or from 0 down a leaf
    int feature = 0;
    float threshold = 0.0f;  ///< Haar alone
    std::vector<int> subset; ///< LBP alone
};

struct Tree
{
    std::vector<Node> nodes;
    std::vector<float> leaves;
};

struct Stage
{
    float threshold = 0.0f;
    std::vector<Tree> trees;
};

struct Cascade
{
    bool isLbp = false;
    int width = 0, height = 0; ///< of the window
    std::vector<Feature> features;
    std::vector<Stage> stages;
};

// ---- what an element says

std::vector<std::string_view> wordsOf(const XmlElement& element)
{
    if (!element.children.empty())
        throw element.error("holds elements instead of numbers or a word");
    constexpr std::string_view space = " \t\r\n";
    const std::string_view text = element.text;
    std::vector<std::string_view> words;
    for (std::size_t start = text.find_first_not_of(space); start != std::string_view::npos;) {
        const std::size_t end = std::min(text.find_first_of(space, start), text.size());
        words.push_back(text.substr(start, end - start));
        start = text.find_first_not_of(space, end);
    }
    return words;
}

std::vector<std::string_view> wordsOf(const XmlElement& element, std::size_t count)
{
    const std::vector<std::string_view> words = wordsOf(element);
    if (words.size() != count)
        throw element.error("holds " + std::to_string(words.size()) + " values instead of " + std::to_string(count));
    return words;
}

/// Numbers are written here as C++ has them, whatever the locale.
template<typename Number>
Number numberOf(const XmlElement& element, std::string_view word)
{
    Number number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size())
        throw element.error("holds '" + std::string(word.substr(0, 40)) + "' instead of a number");
    return number;
}

int integerOf(const XmlElement& element, std::string_view word, int least, int most)
{
    const int number = numberOf<int>(element, word);
    if (number < least || number > most)
        throw element.error("holds " + std::to_string(number) + ", which is not between " + std::to_string(least) +
                            " and " + std::to_string(most));
    return number;
}

int integerOf(const XmlElement& element, int least, int most)
{
    return integerOf(element, wordsOf(element, 1)[0], least, most);
}

float realOf(const XmlElement& element, std::string_view word)
{
    const double number = numberOf<double>(element, word);
    if (!(std::abs(number) <= std::numeric_limits<float>::max()))
        throw element.error("holds " + std::string(word.substr(0, 40)) + ", which is not a single-precision number");
    return static_cast<float>(number);
}

float realOf(const XmlElement& element)
{
    return realOf(element, wordsOf(element, 1)[0]);
}

/// The items of a list, at least one.
const std::vector<XmlElement>& itemsOf(const XmlElement& list)
{
    for (const XmlElement& each : list.children)
        if (each.name != "_")
            throw each.error("has no place in a list");
    if (list.children.empty())
        throw list.error("is empty");
    return list.children;
}

/// Checks a count that a file gives beside its items.
void checkCount(const XmlElement& parent, const char* name, std::size_t count)
{
    const XmlElement* const element = parent.find(name);
    if (element && numberOf<std::size_t>(*element, wordsOf(*element, 1)[0]) != count)
        throw element->error("should be " + std::to_string(count));
}

// ---- features, of both formats

/// A rectangle whose corners, with those that the detector derives of them, lie in the window.
Rectangle rectangleOf(const XmlElement& element, const Cascade& cascade, bool isTilted)
{
    const std::vector<std::string_view> words = wordsOf(element, cascade.isLbp ? 4 : 5);
    Rectangle result;
    result.x = integerOf(element, words[0], 0, cascade.width - 1);
    result.y = integerOf(element, words[1], 0, cascade.height - 1);
    result.width = integerOf(element, words[2], 1, cascade.width);
    result.height = integerOf(element, words[3], 1, cascade.height);
    if (!cascade.isLbp)
        result.weight = realOf(element, words[4]);
    const int blocks = cascade.isLbp ? 3 : 1;
    const int left = isTilted ? result.x - result.height : result.x;
    const int right = result.x + blocks * result.width;
    const int bottom = result.y + blocks * result.height + (isTilted ? result.width : 0);
    if (left < 0 || right > cascade.width || bottom > cascade.height)
        throw element.error("lies outside the window");
    return result;
}

Feature haarFeatureOf(const XmlElement& element, const Cascade& cascade)
{
    Feature feature;
    const XmlElement* const tilted = element.find("tilted");
    feature.isTilted = tilted && integerOf(*tilted, 0, 1) == 1;
    const XmlElement& rectangles = element.child("rects");
    for (const XmlElement& each : itemsOf(rectangles))
        feature.rectangles.push_back(rectangleOf(each, cascade, feature.isTilted));
    if (feature.rectangles.size() < 2 || feature.rectangles.size() > 3)
        throw rectangles.error("holds " + std::to_string(feature.rectangles.size()) + " rectangles instead of 2 or 3");
    return feature;
}

// ---- trees, of both formats

/// A branch leads to a node further on, so that a search ends, or to a leaf.
void checkBranch(const XmlElement& element, int branch, std::size_t node, const Tree& tree)
{
    const std::size_t end = branch > 0 ? tree.nodes.size() : tree.leaves.size();
    const std::size_t target = static_cast<std::size_t>(branch > 0 ? branch : -static_cast<long>(branch));
    if (target >= end || (branch > 0 && target <= node))
        throw element.error("has a branch from node " + std::to_string(node) + " to " + std::to_string(branch));
}

void checkTree(const XmlElement& element, const Tree& tree)
{
    if (tree.leaves.size() != tree.nodes.size() + 1)
        throw element.error("has " + std::to_string(tree.leaves.size()) + " leaves and " +
                            std::to_string(tree.nodes.size()) + " nodes");
    for (std::size_t k = 0; k < tree.nodes.size(); ++k) {
        checkBranch(element, tree.nodes[k].left, k, tree);
        checkBranch(element, tree.nodes[k].right, k, tree);
    }
}

// ---- the format of today

Node nodeOf(const XmlElement& element, const std::string_view* words, const Cascade& cascade)
{
    constexpr int least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
    Node node;
    node.left = integerOf(element, words[0], least, most);
    node.right = integerOf(element, words[1], least, most);
    node.feature = integerOf(element, words[2], 0, static_cast<int>(cascade.features.size()) - 1);
    if (!cascade.isLbp)
        node.threshold = realOf(element, words[3]);
    for (std::size_t k = 0; cascade.isLbp && k < kSubsetWords; ++k)
        node.subset.push_back(integerOf(element, words[3 + k], least, most));
    return node;
}

Tree treeOf(const XmlElement& element, const Cascade& cascade)
{
    Tree tree;
    const XmlElement& nodes = element.child("internalNodes");
    const std::vector<std::string_view> words = wordsOf(nodes);
    const std::size_t step = cascade.isLbp ? 3 + kSubsetWords : 4;
    if (words.empty() || words.size() % step != 0)
        throw nodes.error("holds " + std::to_string(words.size()) + " values, but a node has " + std::to_string(step));
    for (std::size_t k = 0; k < words.size(); k += step)
        tree.nodes.push_back(nodeOf(nodes, &words[k], cascade));
    const XmlElement& leaves = element.child("leafValues");
    for (const std::string_view word : wordsOf(leaves))
        tree.leaves.push_back(realOf(leaves, word));
    checkTree(element, tree);
    return tree;
}

Stage stageOf(const XmlElement& element, const Cascade& cascade)
{
    Stage stage = {realOf(element.child("stageThreshold")), {}};
    for (const XmlElement& each : itemsOf(element.child("weakClassifiers")))
        stage.trees.push_back(treeOf(each, cascade));
    checkCount(element, "maxWeakCount", stage.trees.size());
    return stage;
}

std::string_view wordOf(const XmlElement& element)
{
    return wordsOf(element, 1)[0];
}

Cascade cascadeOfToday(const XmlElement& root)
{
    Cascade cascade;
    if (wordOf(root.child("stageType")) != "BOOST")
        throw root.child("stageType").error("is not BOOST");
    const XmlElement& type = root.child("featureType");
    cascade.isLbp = wordOf(type) == "LBP";
    if (!cascade.isLbp && wordOf(type) != "HAAR")
        throw type.error("is neither HAAR nor LBP");
    cascade.width = integerOf(root.child("width"), 3, kMaxSide); // the detector leaves out a border of a pixel
    cascade.height = integerOf(root.child("height"), 3, kMaxSide);
    const XmlElement* const patterns = root.child("featureParams").find("maxCatCount");
    const int expected = cascade.isLbp ? kLbpPatterns : 0;
    if ((patterns ? integerOf(*patterns, 0, kLbpPatterns) : 0) != expected)
        throw root.child("featureParams").error("has a maxCatCount other than " + std::to_string(expected));
    for (const XmlElement& each : itemsOf(root.child("features")))
        cascade.features.push_back(cascade.isLbp ? Feature{{rectangleOf(each.child("rect"), cascade, false)}, false}
                                                 : haarFeatureOf(each, cascade));
    for (const XmlElement& each : itemsOf(root.child("stages")))
        cascade.stages.push_back(stageOf(each, cascade));
    checkCount(root, "stageNum", cascade.stages.size());
    return cascade;
}

// ---- the old format

/// A branch of a node: a value, which becomes a leaf, or the number of another node.
int oldBranchOf(const XmlElement& element, const char* value, const char* node, Tree& tree)
{
    const XmlElement* const leaf = element.find(value);
    if (!leaf)
        return integerOf(element.child(node), 1, std::numeric_limits<int>::max());
    if (element.find(node))
        throw element.error(std::string("has both <") + value + "> and <" + node + '>');
    tree.leaves.push_back(realOf(*leaf));
    return -static_cast<int>(tree.leaves.size() - 1);
}

Tree oldTreeOf(const XmlElement& element, Cascade& cascade)
{
    Tree tree;
    for (const XmlElement& each : itemsOf(element)) {
        const int feature = static_cast<int>(cascade.features.size()); // each node has one of its own
        cascade.features.push_back(haarFeatureOf(each.child("feature"), cascade));
        const float threshold = realOf(each.child("threshold"));
        const int left = oldBranchOf(each, "left_val", "left_node", tree);
        const int right = oldBranchOf(each, "right_val", "right_node", tree);
        tree.nodes.push_back({left, right, feature, threshold, {}});
    }
    checkTree(element, tree);
    return tree;
}

/// Stages stand in the order in which they are asked: that some of them branch off has no effect, as in OpenCV 4.
Cascade oldCascade(const XmlElement& root)
{
    Cascade cascade;
    const XmlElement& size = root.child("size");
    const std::vector<std::string_view> sides = wordsOf(size, 2);
    cascade.width = integerOf(size, sides[0], 3, kMaxSide);
    cascade.height = integerOf(size, sides[1], 3, kMaxSide);
    const std::vector<XmlElement>& stages = itemsOf(root.child("stages"));
    for (const XmlElement& each : stages) {
        Stage stage = {realOf(each.child("stage_threshold")), {}};
        for (const XmlElement& tree : itemsOf(each.child("trees")))
            stage.trees.push_back(oldTreeOf(tree, cascade));
        cascade.stages.push_back(std::move(stage));
        for (const char* const link : {"parent", "next"})
            if (const XmlElement* const other = each.find(link))
                integerOf(*other, -1, static_cast<int>(stages.size()) - 1);
    }
    return cascade;
}

// ---- writing

void write(std::string& text, int number)
{
    text += std::to_string(number) + ' ';
}

/// With a point, so that nobody takes it for an integer, and with every digit.
void write(std::string& text, float number)
{
    char digits[64];
    const auto end =
        std::to_chars(digits, digits + sizeof(digits), static_cast<double>(number), std::chars_format::scientific, 16);
    text.append(digits, end.ptr) += ' ';
}

void write(std::string& text, const Tree& tree)
{
    text += "<_><internalNodes>\n";
    for (const Node& node : tree.nodes) {
        for (const int number : {node.left, node.right, node.feature})
            write(text, number);
        for (const int number : node.subset)
            write(text, number);
        if (node.subset.empty())
            write(text, node.threshold);
        text += '\n';
    }
    text += "</internalNodes><leafValues>\n";
    for (const float leaf : tree.leaves) {
        write(text, leaf);
        text += '\n';
    }
    text += "</leafValues></_>\n";
}

void write(std::string& text, const Rectangle& rectangle)
{
    for (const int number : {rectangle.x, rectangle.y, rectangle.width, rectangle.height})
        write(text, number);
}

void write(std::string& text, const Feature& feature, bool isLbp)
{
    text += isLbp ? "<_><rect>\n" : "<_><rects>\n";
    for (const Rectangle& each : feature.rectangles) {
        text += isLbp ? "" : "<_>";
        write(text, each);
        if (!isLbp)
            write(text, each.weight);
        text += isLbp ? "" : "</_>\n";
    }
    text += isLbp ? "</rect>" : "</rects>";
    if (feature.isTilted)
        text += "<tilted>1</tilted>";
    text += "</_>\n";
}

std::string textOf(const Cascade& cascade)
{
    std::string text = "<?xml version=\"1.0\"?>\n<opencv_storage>\n"
                       "<cascade type_id=\"opencv-cascade-classifier\">\n<stageType>BOOST</stageType>\n";
    text += std::string("<featureType>") + (cascade.isLbp ? "LBP" : "HAAR") + "</featureType>\n";
    text += "<height>" + std::to_string(cascade.height) + "</height>\n";
    text += "<width>" + std::to_string(cascade.width) + "</width>\n";
    text += "<featureParams><maxCatCount>" + std::to_string(cascade.isLbp ? kLbpPatterns : 0) +
            "</maxCatCount></featureParams>\n";
    text += "<stages>\n";
    for (const Stage& stage : cascade.stages) {
        text += "<_><stageThreshold>";
        write(text, stage.threshold);
        text += "</stageThreshold>\n<weakClassifiers>\n";
        for (const Tree& tree : stage.trees)
            write(text, tree);
        text += "</weakClassifiers></_>\n";
    }
    text += "</stages>\n<features>\n";
    for (const Feature& feature : cascade.features)
        write(text, feature, cascade.isLbp);
    return text += "</features>\n</cascade>\n</opencv_storage>\n";
}

} // namespace

std::string checkedCascade(const std::string& file)
{
    const XmlElement storage = parseXml(file);
    if (storage.name != "opencv_storage" || storage.children.size() != 1)
        throw storage.error("is not a storage of one cascade");
    const XmlElement& root = storage.children[0];
    return textOf(root.find("size") ? oldCascade(root) : cascadeOfToday(root));
}

} // namespace velmor::opencv1

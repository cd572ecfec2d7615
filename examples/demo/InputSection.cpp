#include "examples/demo/InputSection.h"

#include "examples/demo/Scene.h"
#include "examples/demo/Showcase.h"

namespace velmor::demo {

void showInputs(const Scene& scene, Showcase& showcase)
{
    showcase.showPicture(scene.earlierCaption.title, scene.earlier, scene.earlierCaption.sentence);
    showcase.showPicture(scene.laterCaption.title, scene.later, scene.laterCaption.sentence);
    showcase.showPicture("Mask: moving", scene.moving, "Pixels that changed between both frames");
    showcase.showPicture("Mask: dark", scene.dark, "Pixels below a third of the average brightness");
}

} // namespace velmor::demo

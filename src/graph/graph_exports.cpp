// C exports of the graph and cursor helpers.
#include "core/export.h"
#include "graph/graph.h"

void kxcalcGetXYValGraph2D(const XYGraphPointRequest* request) {
  variant::getXYValGraph2D(request);
}
void kxcalcFindCursorXY(const uint32_t* image, int32_t stride, int32_t width, int32_t height,
                        int32_t cursorX, int32_t cursorY, uint32_t* foundValue, uint32_t* foundX,
                        uint32_t* foundY, const uint32_t* excluded, int32_t excludedCount) {
  variant::findCursorXY(image, stride, width, height, cursorX, cursorY, foundValue, foundX, foundY,
                        excluded, excludedCount);
}

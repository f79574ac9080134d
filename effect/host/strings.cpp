#include "effect/host/strings.h"

namespace orvandel {
namespace {

#define ORVANDEL_TEXT(id, text)                               \
  {                                                           \
    "$$$/YQ/Orvandel/Res/4149/LStr/" id "=" text, { 0, 0, 0 } \
  }

// Ids are positions. Id 26 keeps its trailing blank: existing projects and translations contain it. The last entry ends
// the table.
constexpr OrvStringEntry kEntries[] = {
    ORVANDEL_TEXT("0000", "Orvandel, v%ld.%ld#{cr}#{cr}Generates Expanding Shapes."),
    ORVANDEL_TEXT("0001", "Producer Point"),
    ORVANDEL_TEXT("0002", "Parameters are set at"),
    ORVANDEL_TEXT("0003", "Birth"),
    ORVANDEL_TEXT("0004", "Each Frame"),
    ORVANDEL_TEXT("0005", "Expansion"),
    ORVANDEL_TEXT("0006", "Frequency"),
    ORVANDEL_TEXT("0007", "Direction"),
    ORVANDEL_TEXT("0008", "Velocity"),
    ORVANDEL_TEXT("0009", "Spin"),
    ORVANDEL_TEXT("0010", "Start Width"),
    ORVANDEL_TEXT("0011", "End Width"),
    ORVANDEL_TEXT("0012", "Profile"),
    ORVANDEL_TEXT("0013", "Square"),
    ORVANDEL_TEXT("0014", "Triangle"),
    ORVANDEL_TEXT("0015", "Sawtooth Out"),
    ORVANDEL_TEXT("0016", "Sawtooth In"),
    ORVANDEL_TEXT("0017", "Gaussian"),
    ORVANDEL_TEXT("0018", "Sine"),
    ORVANDEL_TEXT("0019", "Color"),
    ORVANDEL_TEXT("0020", "Opacity"),
    ORVANDEL_TEXT("0021", "Wave Type"),
    ORVANDEL_TEXT("0022", "Polygon"),
    ORVANDEL_TEXT("0023", "Image Contours"),
    ORVANDEL_TEXT("0024", "Mask"),
    ORVANDEL_TEXT("0025", "Orientation"),
    ORVANDEL_TEXT("0026", "Lifespan (sec) "),
    ORVANDEL_TEXT("0027", "Fade-in Time"),
    ORVANDEL_TEXT("0028", "Fade-out Time"),
    ORVANDEL_TEXT("0029", "Reflection"),
    ORVANDEL_TEXT("0030", "Sides"),
    ORVANDEL_TEXT("0031", "Star Depth"),
    ORVANDEL_TEXT("0032", "Curve Size"),
    ORVANDEL_TEXT("0033", "Curvyness"),
    ORVANDEL_TEXT("0034", "Source Layer"),
    ORVANDEL_TEXT("0035", "Source Center"),
    ORVANDEL_TEXT("0036", "Value Channel"),
    ORVANDEL_TEXT("0037", "Intensity"),
    ORVANDEL_TEXT("0038", "Red"),
    ORVANDEL_TEXT("0039", "Green"),
    ORVANDEL_TEXT("0040", "Blue"),
    ORVANDEL_TEXT("0041", "Alpha"),
    ORVANDEL_TEXT("0042", "Hue"),
    ORVANDEL_TEXT("0043", "Lightness"),
    ORVANDEL_TEXT("0044", "Saturation"),
    ORVANDEL_TEXT("0045", "Value"),
    ORVANDEL_TEXT("0046", "Value Threshold"),
    ORVANDEL_TEXT("0047", "Invert Input"),
    ORVANDEL_TEXT("0048", "Pre-Blur"),
    ORVANDEL_TEXT("0049", "Tolerance"),
    ORVANDEL_TEXT("0050", "Contour"),
    ORVANDEL_TEXT("0051", "Render Quality"),
    ORVANDEL_TEXT("0052", "Polygon"),
    ORVANDEL_TEXT("0053", "Image Contour"),
    ORVANDEL_TEXT("0054", "Wave Motion"),
    ORVANDEL_TEXT("0055", "Stroke"),
    ORVANDEL_TEXT("0056", "Star"),
    ORVANDEL_TEXT("0057", "Bell"),
    ORVANDEL_TEXT("0058", "Mask"),
    ORVANDEL_TEXT("0059", "Open paths cannot be turned into waves."),
    ORVANDEL_TEXT("0060", "This plug-in requires a later version of the host application."),
    {nullptr, {0, 0, 0}},
};

#undef ORVANDEL_TEXT

constexpr OrvStringTable kTable = {"FX", sizeof(kEntries) / sizeof(kEntries[0]), kEntries};
static_assert(kTable.count == 62);

}  // namespace

OrvStringsRef StringTableAddress() { return reinterpret_cast<OrvStringsRef>(&kTable); }

const char* GetString(const EffectContext& context, std::int32_t id) {
  std::uint32_t zeroWord = 0;
  const char* text = context.inRecord->callbacks.getString(context.globals->strings, id, 0, &zeroWord);
  return text == nullptr ? "" : text;
}

}  // namespace orvandel

// OpenFX: the texts by which actions, properties and their values go, as literally exchanged. Some are irregular in the
// standard itself: RenderThreadSafety and FrameVarying lack "Prop", and the overlay handle's begins with a k.
#pragma once

namespace orvandel::ofx {

using Name = const char*;

inline constexpr Name kApi = "OfxImageEffectPluginAPI";
inline constexpr Name kPropertySuite = "OfxPropertySuite", kImageEffectSuite = "OfxImageEffectSuite",
                      kParameterSuite = "OfxParameterSuite", kMessageSuite = "OfxMessageSuite";

namespace action {
inline constexpr Name kLoad = "OfxActionLoad", kUnload = "OfxActionUnload", kDescribe = "OfxActionDescribe",
                      kDescribeInContext = "OfxImageEffectActionDescribeInContext",
                      kCreateInstance = "OfxActionCreateInstance", kDestroyInstance = "OfxActionDestroyInstance",
                      kInstanceChanged = "OfxActionInstanceChanged", kPurgeCaches = "OfxActionPurgeCaches",
                      kGetRegionOfDefinition = "OfxImageEffectActionGetRegionOfDefinition",
                      kGetRegionsOfInterest = "OfxImageEffectActionGetRegionsOfInterest",
                      kGetFramesNeeded = "OfxImageEffectActionGetFramesNeeded",
                      kIsIdentity = "OfxImageEffectActionIsIdentity",
                      kGetClipPreferences = "OfxImageEffectActionGetClipPreferences",
                      kBeginSequenceRender = "OfxImageEffectActionBeginSequenceRender",
                      kRender = "OfxImageEffectActionRender",
                      kEndSequenceRender = "OfxImageEffectActionEndSequenceRender";
}  // namespace action

namespace context {
inline constexpr Name kGenerator = "OfxImageEffectContextGenerator", kFilter = "OfxImageEffectContextFilter",
                      kGeneral = "OfxImageEffectContextGeneral";
}  // namespace context

namespace clip {
inline constexpr Name kOutput = "Output", kSource = "Source";
}  // namespace clip

namespace depth {
inline constexpr Name kByte = "OfxBitDepthByte", kShort = "OfxBitDepthShort", kHalf = "OfxBitDepthHalf",
                      kFloat = "OfxBitDepthFloat";
}  // namespace depth

namespace components {
inline constexpr Name kRgba = "OfxImageComponentRGBA", kRgb = "OfxImageComponentRGB", kAlpha = "OfxImageComponentAlpha";
}  // namespace components

namespace alpha {
inline constexpr Name kOpaque = "OfxImageOpaque", kPremultiplied = "OfxImageAlphaPremultiplied",
                      kStraight = "OfxImageAlphaUnPremultiplied";
}  // namespace alpha

namespace field {
inline constexpr Name kNone = "OfxFieldNone", kBoth = "OfxFieldBoth", kLower = "OfxFieldLower",
                      kUpper = "OfxFieldUpper";
}  // namespace field

namespace type {
inline constexpr Name kInteger = "OfxParamTypeInteger", kDouble = "OfxParamTypeDouble",
                      kDouble2D = "OfxParamTypeDouble2D", kBoolean = "OfxParamTypeBoolean",
                      kChoice = "OfxParamTypeChoice", kRgb = "OfxParamTypeRGB", kString = "OfxParamTypeString",
                      kGroup = "OfxParamTypeGroup", kPage = "OfxParamTypePage";
}  // namespace type

inline constexpr Name kChangedByTime = "OfxChangeTime";  // a change reason

// Properties of several kinds of objects.
namespace prop {
inline constexpr Name kName = "OfxPropName", kLabel = "OfxPropLabel", kShortLabel = "OfxPropShortLabel",
                      kLongLabel = "OfxPropLongLabel", kTime = "OfxPropTime", kChangeReason = "OfxPropChangeReason",
                      kDescription = "OfxPropPluginDescription", kVersion = "OfxPropVersion",
                      kVersionLabel = "OfxPropVersionLabel", kIcon = "OfxPropIcon",
                      kGrouping = "OfxImageEffectPluginPropGrouping";

inline constexpr Name kContext = "OfxImageEffectPropContext", kContexts = "OfxImageEffectPropSupportedContexts",
                      kDepths = "OfxImageEffectPropSupportedPixelDepths",
                      kSupportedComponents = "OfxImageEffectPropSupportedComponents",
                      kSingleInstance = "OfxImageEffectPluginPropSingleInstance",
                      kThreadSafety = "OfxImageEffectPluginRenderThreadSafety",
                      kHostFrameThreading = "OfxImageEffectPluginPropHostFrameThreading",
                      kMultiResolution = "OfxImageEffectPropSupportsMultiResolution",
                      kTiles = "OfxImageEffectPropSupportsTiles",
                      kTemporalAccess = "OfxImageEffectPropTemporalClipAccess",
                      kFieldRenderTwice = "OfxImageEffectPluginPropFieldRenderTwiceAlways",
                      kMultipleDepths = "OfxImageEffectPropMultipleClipDepths",
                      kMultipleAspects = "OfxImageEffectPropSupportsMultipleClipPARs",
                      kPreferenceSlaves = "OfxImageEffectPropClipPreferencesSlaveParam";

// Of an instance, a clip, an image or an action's arguments.
inline constexpr Name kProjectSize = "OfxImageEffectPropProjectSize",
                      kProjectOffset = "OfxImageEffectPropProjectOffset",
                      kProjectExtent = "OfxImageEffectPropProjectExtent",
                      kProjectAspect = "OfxImageEffectPropPixelAspectRatio", kFrameRate = "OfxImageEffectPropFrameRate",
                      kRenderScale = "OfxImageEffectPropRenderScale", kRenderWindow = "OfxImageEffectPropRenderWindow",
                      kFieldToRender = "OfxImageEffectPropFieldToRender",
                      kDraft = "OfxImageEffectPropRenderQualityDraft",
                      kRegionOfDefinition = "OfxImageEffectPropRegionOfDefinition",
                      kRegionOfInterest = "OfxImageEffectPropRegionOfInterest",
                      kPreMultiplication = "OfxImageEffectPropPreMultiplication",
                      kPixelDepth = "OfxImageEffectPropPixelDepth", kComponents = "OfxImageEffectPropComponents",
                      kFrameVarying = "OfxImageEffectFrameVarying",
                      kContinuousSamples = "OfxImageClipPropContinuousSamples";

inline constexpr Name kOptional = "OfxImageClipPropOptional", kConnected = "OfxImageClipPropConnected",
                      kRegionOfInterestOf = "OfxImageClipPropRoI_", kFrameRangeOf = "OfxImageClipPropFrameRange_";

inline constexpr Name kData = "OfxImagePropData", kRowBytes = "OfxImagePropRowBytes", kBounds = "OfxImagePropBounds",
                      kImageRegion = "OfxImagePropRegionOfDefinition", kPixelAspect = "OfxImagePropPixelAspectRatio",
                      kField = "OfxImagePropField", kPixelOrder = "OfxImageEffectPropPixelOrder";

inline constexpr Name kHint = "OfxParamPropHint", kScriptName = "OfxParamPropScriptName",
                      kParent = "OfxParamPropParent", kAnimates = "OfxParamPropAnimates",
                      kDefault = "OfxParamPropDefault", kMin = "OfxParamPropMin", kMax = "OfxParamPropMax",
                      kDisplayMin = "OfxParamPropDisplayMin", kDisplayMax = "OfxParamPropDisplayMax",
                      kIncrement = "OfxParamPropIncrement", kDigits = "OfxParamPropDigits",
                      kDoubleType = "OfxParamPropDoubleType",
                      kDefaultCoordinates = "OfxParamPropDefaultCoordinateSystem",
                      kOverlayHandle = "kOfxParamPropUseHostOverlayHandle", kChoiceOption = "OfxParamPropChoiceOption",
                      kStringMode = "OfxParamPropStringMode", kFilePathExists = "OfxParamPropStringFilePathExists",
                      kGroupOpen = "OfxParamPropGroupOpen", kEnabled = "OfxParamPropEnabled",
                      kCacheInvalidation = "OfxParamPropCacheInvalidation", kPageChild = "OfxParamPropPageChild",
                      kPageOrder = "OfxPluginPropParamPageOrder";
}  // namespace prop

}  // namespace orvandel::ofx

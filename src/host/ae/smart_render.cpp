// The render commands: the smart pre-render works out regions and checks
// the input out for them; the render, smart or classic, gets the pixels,
// hands them to the effect and gives every checkout back on every way out.

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>

#include "host/ae/layers.h"
#include "host/ae/param_index.h"
#include "host/ae/parameters.h"
#include "image/exception.h"

namespace OZ::Host::AE {
namespace {

using namespace OZ::Host::Param;
using OZ::Image::Rect;

// Layers are asked for no further than this from their origin.
constexpr std::int32_t kLayerLimit = 100000;

Rect toRect(const PF_LRect& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }
PF_LRect toHostRect(const Rect& rect) { return {rect.x0, rect.y0, rect.x1, rect.y1}; }
bool isEmptyHostRect(const PF_LRect& rect) { return rect.left >= rect.right || rect.top >= rect.bottom; }

// A rectangle the host already holds grows to take `candidate` in.
void mergeInto(PF_LRect& held, const Rect& candidate) {
  const PF_LRect add = toHostRect(candidate);
  if (isEmptyHostRect(add)) return;
  if (isEmptyHostRect(held)) {
    held = add;
    return;
  }
  held = {std::min(held.left, add.left), std::min(held.top, add.top), std::max(held.right, add.right),
          std::max(held.bottom, add.bottom)};
}

void clipTo(PF_LRect& rect, const PF_LRect& bound) {
  rect = {std::max(rect.left, bound.left), std::max(rect.top, bound.top), std::min(rect.right, bound.right),
          std::min(rect.bottom, bound.bottom)};
}

}  // namespace

void deletePreRenderOffsets(void* offsets) { std::free(offsets); }

void LayerEntry::checkIn() noexcept {
  if (!checkedOut) return;
  if (extra)
    extra->cb->checkin_layer_pixels(inData->effect_ref, checkoutId);
  else
    inData->inter.checkin_param(inData->effect_ref, &param);
  checkedOut = 0;
  lastError = 0;
}

LayerSet::~LayerSet() {
  for (Host::Image*& image : images) {
    delete image;
    image = nullptr;
  }
  for (LayerEntry& entry : entries) entry.checkIn();
}

PF_ParamIndex Host::findLayerIndex(const Store& store, std::uint64_t layer) const {
  if (layer == 0) return 0;
  std::uint64_t seen = 0;
  for (std::size_t position = 0; position < store.records.size(); ++position)
    if (store.records[position].kind == kLayer && ++seen == layer) return hostIndexOf(store, position);
  throw std::invalid_argument("Invalid layer");
}

PF_Err Host::smartPreRender() {
  PF_PreRenderExtra& pre = *static_cast<PF_PreRenderExtra*>(extra);
  const PF_LRect requested = pre.input->output_request.rect;
  PF_RenderRequest request = pre.input->output_request;
  request.channel_mask = PF_ChannelMask_ARGB;
  request.preserve_rgb_of_zero_alpha = 1;

  const std::unique_ptr<Store> store(makeParameters());
  defineParameters(*store);
  LayerList wanted;
  std::vector<LayerCheckout> checkouts;
  const Rect limit{-kLayerLimit, -kLayerLimit, kLayerLimit, kLayerLimit};
  const Rect inRect = inputRect(*store, toRect(request.rect), limit, wanted);
  expandLayers(*store, wanted, checkouts);
  request.rect = toHostRect(usesInputRect() ? inRect : limit);

  PF_CheckoutResult input{};
  PF_Err error = pre.cb->checkout_layer(inData->effect_ref, 0, 0, &request, inData->current_time, inData->time_step,
                                        inData->time_scale, &input);
  if (error != PF_Err_NONE) return error;

  // Extra layers are centred on the input; the render moves them by these.
  std::int32_t* offsets = nullptr;
  if (!wanted.empty()) {
    offsets = static_cast<std::int32_t*>(std::malloc(8 * std::max(wanted.size(), checkouts.size())));
    if (!offsets) throw std::bad_alloc();
    pre.output->pre_render_data = offsets;
    pre.output->delete_pre_render_data_func = deletePreRenderOffsets;
  }
  for (std::size_t i = 0; i < checkouts.size(); ++i) {
    const LayerCheckout& checkout = checkouts[i];
    PF_RenderRequest layerRequest = request;
    layerRequest.rect = toHostRect(checkout.region);
    const PF_ParamIndex index = findLayerIndex(*store, checkout.layer);
    PF_CheckoutResult layer{};
    error = pre.cb->checkout_layer(inData->effect_ref, index, A_long(i + 1), &layerRequest,
                                   inData->current_time + checkout.frameOffset * inData->time_step, inData->time_step,
                                   inData->time_scale, &layer);
    if (error != PF_Err_NONE) return error;
    std::int32_t x = 0, y = 0;
    if (checkout.layer != 0) {
      const PF_LRect& mine = input.max_result_rect;
      const PF_LRect& theirs = layer.max_result_rect;
      x = std::int32_t((mine.right - mine.left) - (theirs.right - theirs.left)) / 2;
      y = std::int32_t((mine.bottom - mine.top) - (theirs.bottom - theirs.top)) / 2;
    }
    if (offsets) {
      offsets[2 * i] = x;
      offsets[2 * i + 1] = y;
    }
  }

  Rect maxRect = toRect(input.max_result_rect);
  Rect candidate = OZ::Image::intersect(toRect(requested), maxRect);
  candidate = resultRect(*store, candidate, maxRect, wanted);
  maxRect = resultRect(*store, maxRect, maxRect, wanted);
  mergeInto(pre.output->result_rect, candidate);
  clipTo(pre.output->result_rect, requested);
  mergeInto(pre.output->max_result_rect, maxRect);
  finishPreRender(*store, toRect(requested));
  return PF_Err_NONE;
}

PF_Err Host::render() {
  auto* smart = static_cast<PF_SmartRenderExtra*>(extra);
  PF_LayerDef* inputWorld = nullptr;
  if (smart) {
    PF_Err error = smart->cb->checkout_layer_pixels(inData->effect_ref, 0, &inputWorld);
    if (error != PF_Err_NONE) return error;
    error = smart->cb->checkout_output(inData->effect_ref, &output);
    if (error != PF_Err_NONE) return error;
  } else {
    inputWorld = &params[0]->u.ld;
  }
  // Declared before the layers, so destroyed after every checkout is back.
  Image input(this, inputWorld);
  Image outputImage(this, output);
  Image spare(this);
  if (smart && !inputWorld) input.frame = outputImage.frame;
  // A layer without pixels is transparent black; the filters read their
  // inputs wherever they write, so it gets pixels of its own.
  if (!input.hasPixels() && outputImage.hasPixels()) {
    input.frame = outputImage.frame;
    input.allocateLike(outputImage, outputImage.bounds);
    input.clear(input.bounds);
  }

  try {
    const std::unique_ptr<Store> store(makeParameters());
    defineParameters(*store);
    LayerList wanted;
    inputRect(*store, outputImage.bounds, outputImage.frame, wanted);  // only the wanted list counts here
    LayerSet layers(wanted.size(), &outputImage);
    expandLayers(*store, wanted, layers.checkouts);
    if (layers.checkouts.size() > layers.entries.size()) {
      layers.entries.resize(layers.checkouts.size());
      layers.images.resize(layers.checkouts.size(), nullptr);
    }
    renderWithLayers(*store, input, outputImage, spare, layers.images.empty() ? nullptr : layers.images.data(),
                     layers);
  } catch (const OZ::Interrupted&) {
    return PF_Err(abortCode.load());
  }
  return PF_Err_NONE;
}

void Host::renderWithLayers(Store& store, Image& input, Image& outputImage, Image& spare, Image** extraLayers,
                            LayerSet& layers) {
  for (std::size_t position = 0; position < layers.checkouts.size(); ++position)
    checkoutLayer(layers, store, position);
  renderWithBounds(store, input, outputImage, spare, extraLayers);
}

void Host::checkoutLayer(LayerSet& layers, Store& store, std::size_t position) {
  const LayerCheckout& checkout = layers.checkouts[position];
  const PF_ParamIndex index = findLayerIndex(store, checkout.layer);
  const A_long time = inData->current_time + checkout.frameOffset * inData->time_step;

  LayerEntry& entry = layers.entries[position];
  entry = LayerEntry{};
  entry.inData = inData;
  entry.extra = static_cast<PF_SmartRenderExtra*>(extra);
  if (entry.extra) {
    entry.checkoutId = A_long(position + 1);
    entry.lastError = entry.extra->cb->checkout_layer_pixels(inData->effect_ref, entry.checkoutId, &entry.world);
  } else {
    entry.world = &entry.param.u.ld;
    entry.lastError =
        inData->inter.checkout_param(inData->effect_ref, index, time, inData->time_step, inData->time_scale, &entry.param);
  }
  entry.checkedOut = entry.lastError == PF_Err_NONE;
  if (entry.lastError != PF_Err_NONE) throw Error(entry.lastError);

  auto image = std::make_unique<Image>(this, entry.world);
  if (image->hasPixels() && image->format != layers.output->format && !acceptsMixedFormats()) {
    // The effect sees every layer in the output's format.
    auto converted = std::make_unique<Image>(this);
    converted->format = layers.output->format;
    converted->depth = layers.output->depth;
    converted->allocate(Rect{0, 0, OZ::Image::width(image->bounds), OZ::Image::height(image->bounds)});
    converted->copyFrom(*image);
    image = std::move(converted);
  }
  const auto* offsets = entry.extra ? static_cast<const std::int32_t*>(entry.extra->input->pre_render_data) : nullptr;
  if (offsets) {
    const std::int32_t x = offsets[2 * position], y = offsets[2 * position + 1];
    for (Rect* rect : {&image->bounds, &image->frame}) {
      rect->x0 += x;
      rect->x1 += x;
      rect->y0 += y;
      rect->y1 += y;
    }
  }
  layers.images[position] = image.release();
}

}  // namespace OZ::Host::AE

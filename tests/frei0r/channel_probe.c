/* A frei0r filter that shows whether a host hands over the channel order it
 * declares, B, G, R, A, in both directions: it copies every pixel through,
 * except the first, which it paints in a colour with four different bytes.
 * The effect itself cannot show this, since it treats red and blue alike. */

#include <stdlib.h>
#include <string.h>

#include <frei0r.h>

#define EXPORTED __attribute__((visibility("default")))

typedef struct {
  unsigned width, height;
} probe;

EXPORTED int f0r_init(void) { return 1; }
EXPORTED void f0r_deinit(void) {}

EXPORTED void f0r_get_plugin_info(f0r_plugin_info_t* info) {
  info->name = "Channel Probe";
  info->author = "the Strobe Quirk tests";
  info->plugin_type = F0R_PLUGIN_TYPE_FILTER;
  info->color_model = F0R_COLOR_MODEL_BGRA8888; /* the model the effect declares */
  info->frei0r_version = FREI0R_MAJOR_VERSION;
  info->major_version = 1;
  info->minor_version = 0;
  info->num_params = 0;
  info->explanation = "Paints the first pixel red 0x11, green 0x22, blue 0x33, alpha 0x44";
}

EXPORTED void f0r_get_param_info(f0r_param_info_t* info, int index) {
  (void)info;
  (void)index;
}

EXPORTED f0r_instance_t f0r_construct(unsigned width, unsigned height) {
  probe* instance = calloc(1, sizeof *instance);
  if (instance) {
    instance->width = width;
    instance->height = height;
  }
  return instance;
}

EXPORTED void f0r_destruct(f0r_instance_t instance) { free(instance); }

EXPORTED void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
  (void)instance;
  (void)param;
  (void)index;
}

EXPORTED void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
  (void)instance;
  (void)param;
  (void)index;
}

EXPORTED void f0r_update(f0r_instance_t instance, double time, const uint32_t* in, uint32_t* out) {
  const probe* self = instance;
  static const unsigned char painted[4] = {0x33, 0x22, 0x11, 0x44}; /* B, G, R, A */
  (void)time;
  if (!self || !in || !out) return;
  memmove(out, in, (size_t)self->width * self->height * 4);
  memcpy(out, painted, sizeof painted);
}

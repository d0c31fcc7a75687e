/* Corrects the colours of one image: 48-bit pixels in, 24-bit pixels for a screen out. */
#include <korvex_kvi_color_processing.h>
#include <stdio.h>

int main(void)
{
    static const float correction[9] = {1.6F, -0.4F, -0.2F, -0.3F, 1.5F, -0.2F, 0.0F, -0.5F, 1.5F};
    static const uint16_t camera[2 * 3] = {4000, 8000, 12000, 30000, 30000, 30000}; /* blue, green, red */
    uint8_t screen[2 * 3];
    int32_t status = kx_color_processing_module_initialize();
    kx_color_processor* processor = kx_color_create_color_processor(16, 16);

    if (status != KX_COLOR_SUCCESS || processor == NULL)
        return 1;
    kx_color_append_matrix(processor, correction);
    status = kx_color_transform_48_to_24(processor, camera, KX_COLOR_INTERLEAVED_BGR, 0, 65535, 0, 65535, 0, 65535, -8,
                                         -8, -8, screen, KX_COLOR_INTERLEAVED_RGB, 2);
    if (status == KX_COLOR_SUCCESS)
        printf("red %d, green %d, blue %d\n", screen[0], screen[1], screen[2]);
    kx_color_destroy_color_processor(processor);
    kx_color_processing_module_terminate();
    return status;
}

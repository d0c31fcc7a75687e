/*
 * korvex_kvi_color_processing: colour processing for 48-bit camera images.
 *
 * The library converts images of 48-bit pixels (three unsigned 16-bit samples a pixel: blue, green,
 * red) into 48-, 64-, 24- or 32-bit pixels. For every pixel it applies, in this order:
 *
 *   1. the enabled input LUTs, one for each channel;
 *   2. a 3x3 colour matrix, in single precision;
 *   3. rounding: plus 0.5, added in double precision (0.49999997 gives 0), then truncation toward zero;
 *   4. a clamp, one range for each channel;
 *   5. the enabled output LUTs, one for each channel;
 *   6. a bit shift, one distance for each channel;
 *
 * and stores the low 16 or 8 bits of each result.
 *
 * Use: initialize the module once, create one or more color processors, configure each (matrix, LUTs),
 * transform as many images as you like, destroy the processors, terminate the module.
 *
 * Companion modules. The library loads four shared libraries by file name when it needs them:
 * korvex_kvi_LUT (required), korvex_kvi_logger (diagnostics; without it nothing is logged),
 * korvex_kvi_color_processing_vector_sse and korvex_kvi_color_processing_vector_avx2 (speed; without
 * them the results are the same, only slower). On ARM64 korvex_kvi_color_processing_vector_neon takes the
 * place of the SSE module, and there is no AVX2 module: all that is said of SSE goes for NEON. On Linux they are found
 * beside the library, on Windows beside the host's program, or wherever else the system looks for libraries by default.
 * A library reached through a symbolic link that stands alone in another folder does not find them: link the folder.
 *
 * Which vector module runs is not reported. A host that wants to know loads the module by its file name and
 * calls its ..._module_initialize: 0 means that it accepts the machine, so that processors use it, AVX2
 * before SSE. It then calls ..._module_terminate.
 *
 * Channel order. Arguments for the three channels always come in the order blue, green, red. The matrix
 * alone is written in the order red, green, blue.
 *
 * Errors. Functions that return int32_t return one of the KX_COLOR_... status codes; functions that
 * return a pointer return NULL for every failure. A rejected call changes nothing and, once the module
 * is initialized, writes one line to the logger. No exception leaves the library unless a companion
 * module raises it; a host that catches one lets go of it before it destroys the processor, since the
 * exception may live in a module that is then unloaded. When memory runs out, creation returns NULL,
 * initialization reports what it could not load, and everything else works.
 *
 * Threads. Distinct processors may be used from distinct threads, and any number of threads may run
 * transforms on one processor, as long as nobody changes or destroys that processor meanwhile.
 * kx_color_processing_module_initialize and kx_color_processing_module_terminate must not run
 * concurrently with each other or with any other call. The library starts no threads: a transform runs
 * wholly on its caller's thread. Let transforms end before the process exits: exit unloads what they use.
 *
 * Live buffers. Whatever the buffers hold, overlap or do while a transform runs, nothing outside the
 * buffers and the LUTs is touched; an input that changes meanwhile gives pixels of either state.
 *
 * Floating-point environment. Results hold for the default one: rounding to nearest, without flush-to-zero
 * or denormals-are-zero. Others change appended matrices, or pixels.
 */
#ifndef KORVEX_KVI_COLOR_PROCESSING_H
#define KORVEX_KVI_COLOR_PROCESSING_H

#include <stdint.h>

/* KX_COLOR_PROCESSING_API marks the exported functions. Hosts that load the library by name instead of
 * linking it may define it as empty before they include this header. */
#ifndef KX_COLOR_PROCESSING_API
#if defined(_WIN32)
#if defined(KX_COLOR_PROCESSING_BUILD)
#define KX_COLOR_PROCESSING_API __declspec(dllexport)
#else
#define KX_COLOR_PROCESSING_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define KX_COLOR_PROCESSING_API __attribute__((visibility("default")))
#else
#define KX_COLOR_PROCESSING_API
#endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the library that this header belongs to. */
#define KX_COLOR_PROCESSING_VERSION_MAJOR 1
#define KX_COLOR_PROCESSING_VERSION_MINOR 0
#define KX_COLOR_PROCESSING_VERSION_PATCH 0
#define KX_COLOR_PROCESSING_VERSION "1.0.0"

/* Status codes (int32_t). Codes 6 to 8 are not used. */
#define KX_COLOR_SUCCESS 0                 /* the call did its work */
#define KX_COLOR_NOT_INITIALIZED 1         /* the module is not initialized (see also initialize) */
#define KX_COLOR_NULL_PROCESSOR 2          /* the processor handle is NULL */
#define KX_COLOR_NULL_INPUT_BUFFER 3       /* the input buffer is NULL */
#define KX_COLOR_NULL_OUTPUT_BUFFER 4      /* the output buffer is NULL */
#define KX_COLOR_IDENTICAL_BUFFERS 5       /* input and output buffer are the same */
#define KX_COLOR_INVALID_INPUT_FORMAT 9    /* input format above 2 */
#define KX_COLOR_INVALID_OUTPUT_FORMAT 10  /* output format above 2 */
#define KX_COLOR_INVALID_SHIFT_DISTANCE 11 /* a shift distance outside -15..15 */
#define KX_COLOR_INVALID_CLAMP_RANGE 12    /* minimum above maximum, or maximum beyond the output LUT */

/* Pixel formats (int32_t), for input and output buffers alike. For an image of n pixels: */
#define KX_COLOR_PLANAR_BGR 0      /* planes of n samples: blue, green, red (and the fourth) */
#define KX_COLOR_INTERLEAVED_BGR 1 /* a pixel's samples side by side: blue, green, red (, fourth) */
#define KX_COLOR_INTERLEAVED_RGB 2 /* a pixel's samples side by side: red, green, blue (, fourth) */

/* The shift distances that a transform accepts, both included. */
#define KX_COLOR_MIN_SHIFT_DISTANCE (-15)
#define KX_COLOR_MAX_SHIFT_DISTANCE 15

/* The bit depths of LUTs, both included: a LUT has 2^depth entries. */
#define KX_COLOR_MIN_LUT_BIT_DEPTH 0
#define KX_COLOR_MAX_LUT_BIT_DEPTH 16

/* Vector levels for kx_color_create_color_processor_test. */
#define KX_COLOR_VECTOR_LEVEL_SCALAR 0 /* scalar kernels only */
#define KX_COLOR_VECTOR_LEVEL_SSE 1    /* the SSE module may be used; on ARM64 the NEON module */
#define KX_COLOR_VECTOR_LEVEL_AVX2 2   /* the AVX2 module, or else that of level 1, may be used */
#define KX_COLOR_VECTOR_LEVEL_NEON 1   /* level 1 by its name on ARM64 */

/* A color processor: a matrix, three input LUTs, three output LUTs and their switches. The host owns
 * what the handle stands for until it destroys it. */
typedef struct kx_color_processor kx_color_processor;

/*
 * Initializes the module: creates the logger client and loads the LUT module. Call it once before
 * everything else; every further call must be matched by a further terminate.
 *
 * Returns KX_COLOR_SUCCESS, or KX_COLOR_NOT_INITIALIZED when the LUT module or one of its six entry
 * points is missing. After a failure create no processor; the call counts all the same, so match it with
 * kx_color_processing_module_terminate. A missing logger module is no failure.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_processing_module_initialize(void);

/*
 * Terminates the module: once for each initialize, after the caller's processors are destroyed. The last
 * one, when there were as many as initializes, closes the log; from then on all other calls are refused.
 * Until then other users of the module go on: their processors, and creating more, work as before.
 * Returns KX_COLOR_SUCCESS, also when the module was never initialized.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_processing_module_terminate(void);

/*
 * Creates a color processor with the identity matrix and six disabled, zero-filled LUTs. The fastest
 * vector module that the machine's processor supports will be used.
 *
 *   input_LUT_bit_depth   0..16; each input LUT gets 2^input_LUT_bit_depth entries. An enabled input LUT
 *                         is indexed by the raw input sample without a bounds test: choose the depth
 *                         large enough for every sample the camera delivers.
 *   output_LUT_bit_depth  0..16; each output LUT gets 2^output_LUT_bit_depth entries. An enabled output
 *                         LUT is indexed by the channel's clamped value; a transform checks that the
 *                         channel's clamp maximum lies within it.
 *
 * Returns the processor's handle, or NULL: the module is not initialized, a bit depth is out of range,
 * or memory or the LUT module failed (all but the first write a line to the log). Destroy the processor
 * before the module is terminated.
 */
KX_COLOR_PROCESSING_API kx_color_processor* kx_color_create_color_processor(int32_t input_LUT_bit_depth,
                                                                            int32_t output_LUT_bit_depth);

/*
 * Creates a color processor whose vector level the caller chooses, for tests and measurements: as
 * kx_color_create_color_processor, but the machine's processor is not examined.
 *
 *   vector_level  a KX_COLOR_VECTOR_LEVEL_... value. It is not checked: 2 uses the AVX2 module or else
 *                 the SSE module, 1 and every value above 2 the SSE module, all others neither. A module
 *                 that is missing or that refuses the machine's processor is passed over.
 */
KX_COLOR_PROCESSING_API kx_color_processor*
kx_color_create_color_processor_test(int32_t input_LUT_bit_depth, int32_t output_LUT_bit_depth, int32_t vector_level);

/*
 * Destroys a color processor with its LUTs; pointers into them end with it. No other call on this
 * processor may be running. The processor is gone also when a companion module throws: the first of the
 * exceptions passes when all is given back. Returns KX_COLOR_SUCCESS, KX_COLOR_NOT_INITIALIZED or
 * KX_COLOR_NULL_PROCESSOR.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_destroy_color_processor(kx_color_processor* processor);

/*
 * Multiplies a matrix into the processor's matrix on the right: with M the processor's matrix and A the
 * argument, M becomes M x A. The matrix appended last therefore acts on a pixel first; append the
 * conversion that acts last first. Takes effect with the next transform.
 *
 *   matrix  nine floats, row by row: rows are output red, green, blue; columns input red, green, blue.
 *           The pointer and the values are not checked.
 *
 * Returns KX_COLOR_SUCCESS, KX_COLOR_NOT_INITIALIZED or KX_COLOR_NULL_PROCESSOR.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_append_matrix(kx_color_processor* processor, const float* matrix);

/*
 * Resets the processor's matrix to the identity. Returns KX_COLOR_SUCCESS, KX_COLOR_NOT_INITIALIZED or
 * KX_COLOR_NULL_PROCESSOR.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_clear_matrix(kx_color_processor* processor);

/*
 * The entries of one input LUT, to be filled in place: 2^input_LUT_bit_depth words of 32 bits, zero at
 * first. Entry x replaces the raw input sample x while the LUT is enabled; only its low 16 bits are used.
 *
 * Returns a pointer that stays valid until the processor is destroyed, or NULL: the module is not
 * initialized or the handle is NULL. Do not write entries while a transform on the processor runs.
 */
KX_COLOR_PROCESSING_API uint32_t* kx_color_get_blue_input_LUT(kx_color_processor* processor);
/* As kx_color_get_blue_input_LUT, for the green channel. */
KX_COLOR_PROCESSING_API uint32_t* kx_color_get_green_input_LUT(kx_color_processor* processor);
/* As kx_color_get_blue_input_LUT, for the red channel. */
KX_COLOR_PROCESSING_API uint32_t* kx_color_get_red_input_LUT(kx_color_processor* processor);

/*
 * Switches the three input LUTs on (any value but 0) or off (0). All three are set on every call.
 * Returns KX_COLOR_SUCCESS, KX_COLOR_NOT_INITIALIZED or KX_COLOR_NULL_PROCESSOR.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_enable_input_LUTs(kx_color_processor* processor, int32_t blue_flag,
                                                           int32_t green_flag, int32_t red_flag);

/*
 * The entries of one output LUT, to be filled in place: 2^output_LUT_bit_depth words of 32 bits, zero at
 * first. Entry v replaces the channel's clamped value v while the LUT is enabled. It then goes through
 * the channel's shift, and the low 16 bits (48- and 64-bit output) or the low 8 bits (24- and 32-bit
 * output) are stored. Right shifts take the entry as a signed 32-bit value.
 *
 * Returns a pointer that stays valid until the processor is destroyed, or NULL: the module is not
 * initialized or the handle is NULL. Do not write entries while a transform on the processor runs.
 */
KX_COLOR_PROCESSING_API uint32_t* kx_color_get_blue_output_LUT(kx_color_processor* processor);
/* As kx_color_get_blue_output_LUT, for the green channel. */
KX_COLOR_PROCESSING_API uint32_t* kx_color_get_green_output_LUT(kx_color_processor* processor);
/* As kx_color_get_blue_output_LUT, for the red channel. */
KX_COLOR_PROCESSING_API uint32_t* kx_color_get_red_output_LUT(kx_color_processor* processor);

/*
 * Switches the three output LUTs on (any value but 0) or off (0). All three are set on every call.
 * Returns KX_COLOR_SUCCESS, KX_COLOR_NOT_INITIALIZED or KX_COLOR_NULL_PROCESSOR.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_enable_output_LUTs(kx_color_processor* processor, int32_t blue_flag,
                                                            int32_t green_flag, int32_t red_flag);

/*
 * Converts an image of 48-bit pixels to 48-bit pixels: three 16-bit samples in, three 16-bit samples out.
 *
 *   processor              the color processor.
 *   input_buffer           3 x pixel_count samples of 16 bits in the layout input_format.
 *   input_format           a pixel format. Values below 0 count as KX_COLOR_PLANAR_BGR.
 *   *_clamp_min, *_clamp_max  the range to which the channel's rounded result is clamped before its output
 *                          LUT and its shift, 0..65535. While the channel's output LUT is enabled the
 *                          maximum must be below that LUT's number of entries.
 *   *_shift_distance       -15..15: a positive distance shifts the channel's result left by so many bits,
 *                          a negative one right (arithmetically), 0 leaves it. Bits above the output
 *                          sample are dropped; nothing saturates after the clamp.
 *   output_buffer          3 x pixel_count samples of 16 bits in the layout output_format. It must not be,
 *                          and should not overlap, the input buffer.
 *   output_format          a pixel format. Values below 0 count as KX_COLOR_PLANAR_BGR.
 *   pixel_count            the number of pixels, and the length of a plane in planar layouts. With 0 or
 *                          less nothing is read or written.
 *
 * Buffers need no more than their samples' natural alignment. Nothing beyond the samples named is read or
 * written.
 *
 * Returns KX_COLOR_SUCCESS, or the first failure in this order: KX_COLOR_NOT_INITIALIZED,
 * KX_COLOR_NULL_PROCESSOR, KX_COLOR_NULL_INPUT_BUFFER, KX_COLOR_NULL_OUTPUT_BUFFER,
 * KX_COLOR_IDENTICAL_BUFFERS, KX_COLOR_INVALID_INPUT_FORMAT, KX_COLOR_INVALID_SHIFT_DISTANCE,
 * KX_COLOR_INVALID_CLAMP_RANGE, KX_COLOR_INVALID_OUTPUT_FORMAT. After a failure the output buffer is
 * untouched.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_transform_48_to_48(
    kx_color_processor* processor, const uint16_t* input_buffer, int32_t input_format, uint16_t blue_clamp_min,
    uint16_t blue_clamp_max, uint16_t green_clamp_min, uint16_t green_clamp_max, uint16_t red_clamp_min,
    uint16_t red_clamp_max, int32_t blue_shift_distance, int32_t green_shift_distance, int32_t red_shift_distance,
    uint16_t* output_buffer, int32_t output_format, int32_t pixel_count);

/*
 * Converts an image of 48-bit pixels to 64-bit pixels: as kx_color_transform_48_to_48, but the output has
 * 4 x pixel_count samples of 16 bits. The fourth sample of every pixel (in KX_COLOR_PLANAR_BGR the fourth
 * plane) is written as 0.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_transform_48_to_64(
    kx_color_processor* processor, const uint16_t* input_buffer, int32_t input_format, uint16_t blue_clamp_min,
    uint16_t blue_clamp_max, uint16_t green_clamp_min, uint16_t green_clamp_max, uint16_t red_clamp_min,
    uint16_t red_clamp_max, int32_t blue_shift_distance, int32_t green_shift_distance, int32_t red_shift_distance,
    uint16_t* output_buffer, int32_t output_format, int32_t pixel_count);

/*
 * Converts an image of 48-bit pixels to 24-bit pixels: as kx_color_transform_48_to_48, but the output has
 * 3 x pixel_count samples of 8 bits, the low 8 bits of each result. Nothing is scaled by itself: to keep the
 * high bits of 16-bit data use a shift distance of -8, or an output LUT with entries 0..255.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_transform_48_to_24(
    kx_color_processor* processor, const uint16_t* input_buffer, int32_t input_format, uint16_t blue_clamp_min,
    uint16_t blue_clamp_max, uint16_t green_clamp_min, uint16_t green_clamp_max, uint16_t red_clamp_min,
    uint16_t red_clamp_max, int32_t blue_shift_distance, int32_t green_shift_distance, int32_t red_shift_distance,
    uint8_t* output_buffer, int32_t output_format, int32_t pixel_count);

/*
 * Converts an image of 48-bit pixels to 32-bit pixels: as kx_color_transform_48_to_24, but the output has
 * 4 x pixel_count samples of 8 bits. The fourth sample of every pixel (in KX_COLOR_PLANAR_BGR the fourth
 * plane) is written as 0.
 */
KX_COLOR_PROCESSING_API int32_t kx_color_transform_48_to_32(
    kx_color_processor* processor, const uint16_t* input_buffer, int32_t input_format, uint16_t blue_clamp_min,
    uint16_t blue_clamp_max, uint16_t green_clamp_min, uint16_t green_clamp_max, uint16_t red_clamp_min,
    uint16_t red_clamp_max, int32_t blue_shift_distance, int32_t green_shift_distance, int32_t red_shift_distance,
    uint8_t* output_buffer, int32_t output_format, int32_t pixel_count);

#ifdef __cplusplus
}
#endif

#endif /* KORVEX_KVI_COLOR_PROCESSING_H */

// Whether nvEncodeAPI.h describes the binary interface 13.0 of the encoder driver. The layout is checked
// while this compiles (64-bit systems); where bit-fields lie can only be seen by running it. Fails with the
// name of what is off.
#include <ffnvcodec/nvEncodeAPI.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#define SIZE(type, bytes) _Static_assert(sizeof(type) == (bytes), "size of " #type)
#define FIELD(type, field, offset, bytes)                                          \
  _Static_assert(offsetof(type, field) == (offset), "place of " #type "." #field); \
  _Static_assert(sizeof(((type*)0)->field) == (bytes), "size of " #type "." #field)
#define VALUE(name, number) _Static_assert((name) == (number), "value of " #name)

// Version words.
VALUE(NV_ENC_CAPS_PARAM_VER, 0x7001000dU);
VALUE(NV_ENC_RESTORE_ENCODER_STATE_PARAMS_VER, 0x7002000dU);
VALUE(NV_ENC_OUTPUT_STATS_BLOCK_VER, 0x7001000dU);
VALUE(NV_ENC_OUTPUT_STATS_ROW_VER, 0x7001000dU);
VALUE(NV_ENC_ENCODE_OUT_PARAMS_VER, 0x7001000dU);
VALUE(NV_ENC_LOOKAHEAD_PIC_PARAMS_VER, 0x7002000dU);
VALUE(NV_ENC_CREATE_INPUT_BUFFER_VER, 0x7002000dU);
VALUE(NV_ENC_CREATE_BITSTREAM_BUFFER_VER, 0x7001000dU);
VALUE(NV_ENC_CREATE_MV_BUFFER_VER, 0x7002000dU);
VALUE(NV_ENC_RC_PARAMS_VER, 0x7001000dU);
VALUE(NV_ENC_CONFIG_VER, 0xf009000dU);
VALUE(NV_ENC_INITIALIZE_PARAMS_VER, 0xf007000dU);
VALUE(NV_ENC_RECONFIGURE_PARAMS_VER, 0xf002000dU);
VALUE(NV_ENC_PRESET_CONFIG_VER, 0xf005000dU);
VALUE(NV_ENC_PIC_PARAMS_MVC_VER, 0x7001000dU);
VALUE(NV_ENC_PIC_PARAMS_VER, 0xf007000dU);
VALUE(NV_ENC_MEONLY_PARAMS_VER, 0x7004000dU);
VALUE(NV_ENC_LOCK_BITSTREAM_VER, 0xf002000dU);
VALUE(NV_ENC_LOCK_INPUT_BUFFER_VER, 0x7001000dU);
VALUE(NV_ENC_MAP_INPUT_RESOURCE_VER, 0x7004000dU);
VALUE(NV_ENC_FENCE_POINT_D3D12_VER, 0x7001000dU);
VALUE(NV_ENC_INPUT_RESOURCE_D3D12_VER, 0x7001000dU);
VALUE(NV_ENC_OUTPUT_RESOURCE_D3D12_VER, 0x7001000dU);
VALUE(NV_ENC_REGISTER_RESOURCE_VER, 0x7005000dU);
VALUE(NV_ENC_STAT_VER, 0x7002000dU);
VALUE(NV_ENC_SEQUENCE_PARAM_PAYLOAD_VER, 0x7001000dU);
VALUE(NV_ENC_EVENT_PARAMS_VER, 0x7002000dU);
VALUE(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS_VER, 0x7001000dU);
VALUE(NV_ENCODE_API_FUNCTION_LIST_VER, 0x7002000dU);
VALUE(NVENCAPI_VERSION, 0x0000000dU);

// Enumerators that came with 13.0.
VALUE(NV_ENC_PIC_TYPE_SWITCH, 8);
VALUE(NV_ENC_BUFFER_FORMAT_NV16, 0x40000001);
VALUE(NV_ENC_BUFFER_FORMAT_P210, 0x40000002);
VALUE(NV_ENC_CAPS_SUPPORT_TEMPORAL_FILTER, 55);
VALUE(NV_ENC_CAPS_SUPPORT_LOOKAHEAD_LEVEL, 56);
VALUE(NV_ENC_CAPS_SUPPORT_UNIDIRECTIONAL_B, 57);
VALUE(NV_ENC_CAPS_SUPPORT_MVHEVC_ENCODE, 58);
VALUE(NV_ENC_CAPS_SUPPORT_YUV422_ENCODE, 59);
VALUE(NV_ENC_SPLIT_FOUR_FORCED_MODE, 4);
VALUE(NV_ENC_CAPS_OUTPUT_ROW_STATS, 54);
VALUE(NV_ENC_CAPS_EXPOSED_COUNT, 60);
VALUE(NV_ENC_TUNING_INFO_ULTRA_HIGH_QUALITY, 5);
VALUE(NV_ENC_TUNING_INFO_COUNT, 6);
VALUE(NV_ENC_TEMPORAL_FILTER_LEVEL_0, 0);
VALUE(NV_ENC_TEMPORAL_FILTER_LEVEL_4, 4);
VALUE(NV_ENC_LOOKAHEAD_LEVEL_0, 0);
VALUE(NV_ENC_LOOKAHEAD_LEVEL_1, 1);
VALUE(NV_ENC_LOOKAHEAD_LEVEL_2, 2);
VALUE(NV_ENC_LOOKAHEAD_LEVEL_3, 3);
VALUE(NV_ENC_LOOKAHEAD_LEVEL_AUTOSELECT, 15);
VALUE(NV_ENC_BIT_DEPTH_INVALID, 0);
VALUE(NV_ENC_BIT_DEPTH_8, 8);
VALUE(NV_ENC_BIT_DEPTH_10, 10);
SIZE(NV_ENC_TEMPORAL_FILTER_LEVEL, 4);
SIZE(NV_ENC_LOOKAHEAD_LEVEL, 4);
SIZE(NV_ENC_BIT_DEPTH, 4);

// Structures that differ from 12.1.
SIZE(NV_ENC_RESTORE_ENCODER_STATE_PARAMS, 800);
FIELD(NV_ENC_RESTORE_ENCODER_STATE_PARAMS, reserved, 12, 4);
SIZE(NV_ENC_OUTPUT_STATS_BLOCK, 64);
FIELD(NV_ENC_OUTPUT_STATS_BLOCK, satdCost, 12, 4);
FIELD(NV_ENC_OUTPUT_STATS_BLOCK, reserved1, 16, 48);
SIZE(NV_ENC_OUTPUT_STATS_ROW, 64);
FIELD(NV_ENC_OUTPUT_STATS_ROW, satdCost, 12, 4);
FIELD(NV_ENC_OUTPUT_STATS_ROW, reserved1, 16, 48);
SIZE(NV_ENC_LOOKAHEAD_PIC_PARAMS, 784);
FIELD(NV_ENC_LOOKAHEAD_PIC_PARAMS, reserved, 4, 4);
FIELD(NV_ENC_LOOKAHEAD_PIC_PARAMS, reserved1, 20, 252);
FIELD(NV_ENC_LOOKAHEAD_PIC_PARAMS, reserved2, 272, 512);
SIZE(NV_ENC_CREATE_INPUT_BUFFER, 776);
FIELD(NV_ENC_CREATE_INPUT_BUFFER, reserved1, 40, 232);
SIZE(NV_ENC_CREATE_MV_BUFFER, 1536);
FIELD(NV_ENC_CREATE_MV_BUFFER, reserved, 4, 4);
FIELD(NV_ENC_CREATE_MV_BUFFER, reserved1, 16, 1016);
FIELD(NV_ENC_CREATE_MV_BUFFER, reserved2, 1032, 504);
SIZE(NV_ENC_RC_PARAMS, 128);
FIELD(NV_ENC_RC_PARAMS, lookaheadLevel, 112, 4);
FIELD(NV_ENC_RC_PARAMS, viewBitrateRatios, 116, 7);
FIELD(NV_ENC_RC_PARAMS, reserved3, 123, 1);
FIELD(NV_ENC_RC_PARAMS, reserved1, 124, 4);
SIZE(NV_ENC_TIME_CODE, 32);
FIELD(NV_ENC_TIME_CODE, skipClockTimestampInsertion, 28, 4);
SIZE(HEVC_3D_REFERENCE_DISPLAY_INFO, 960);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, precRefDisplayWidth, 4, 4);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, precRefViewingDist, 8, 4);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, numRefDisplaysMinus1, 12, 4);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, leftViewId, 16, 128);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, rightViewId, 144, 128);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, exponentRefDisplayWidth, 272, 128);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, mantissaRefDisplayWidth, 400, 128);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, exponentRefViewingDistance, 528, 128);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, mantissaRefViewingDistance, 656, 128);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, numSampleShiftPlus512, 784, 128);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, additionalShiftPresentFlag, 912, 32);
FIELD(HEVC_3D_REFERENCE_DISPLAY_INFO, reserved2, 944, 16);
SIZE(CHROMA_POINTS, 4);
FIELD(CHROMA_POINTS, x, 0, 2);
FIELD(CHROMA_POINTS, y, 2, 2);
SIZE(MASTERING_DISPLAY_INFO, 24);
FIELD(MASTERING_DISPLAY_INFO, g, 0, 4);
FIELD(MASTERING_DISPLAY_INFO, b, 4, 4);
FIELD(MASTERING_DISPLAY_INFO, r, 8, 4);
FIELD(MASTERING_DISPLAY_INFO, whitePoint, 12, 4);
FIELD(MASTERING_DISPLAY_INFO, maxLuma, 16, 4);
FIELD(MASTERING_DISPLAY_INFO, minLuma, 20, 4);
SIZE(CONTENT_LIGHT_LEVEL, 4);
FIELD(CONTENT_LIGHT_LEVEL, maxContentLightLevel, 0, 2);
FIELD(CONTENT_LIGHT_LEVEL, maxPicAverageLightLevel, 2, 2);
SIZE(NV_ENC_CONFIG_H264, 1792);
FIELD(NV_ENC_CONFIG_H264, outputBitDepth, 212, 4);
FIELD(NV_ENC_CONFIG_H264, inputBitDepth, 216, 4);
FIELD(NV_ENC_CONFIG_H264, tfLevel, 220, 4);
FIELD(NV_ENC_CONFIG_H264, reserved1, 224, 1056);
SIZE(NV_ENC_CONFIG_HEVC, 1560);
FIELD(NV_ENC_CONFIG_HEVC, tfLevel, 192, 4);
FIELD(NV_ENC_CONFIG_HEVC, disableDeblockingFilterIDC, 196, 4);
FIELD(NV_ENC_CONFIG_HEVC, outputBitDepth, 200, 4);
FIELD(NV_ENC_CONFIG_HEVC, inputBitDepth, 204, 4);
FIELD(NV_ENC_CONFIG_HEVC, numTemporalLayers, 208, 4);
FIELD(NV_ENC_CONFIG_HEVC, numViews, 212, 4);
FIELD(NV_ENC_CONFIG_HEVC, reserved1, 216, 832);
SIZE(NV_ENC_CONFIG_AV1, 1552);
FIELD(NV_ENC_CONFIG_AV1, reserved2, 44, 4);
FIELD(NV_ENC_CONFIG_AV1, outputBitDepth, 112, 4);
FIELD(NV_ENC_CONFIG_AV1, inputBitDepth, 116, 4);
FIELD(NV_ENC_CONFIG_AV1, ltrNumFrames, 120, 4);
FIELD(NV_ENC_CONFIG_AV1, numTemporalLayers, 124, 4);
FIELD(NV_ENC_CONFIG_AV1, tfLevel, 128, 4);
FIELD(NV_ENC_CONFIG_AV1, reserved1, 132, 920);
FIELD(NV_ENC_CONFIG_AV1, reserved3, 1056, 496);
SIZE(NV_ENC_INITIALIZE_PARAMS, 1800);
FIELD(NV_ENC_INITIALIZE_PARAMS, reserved, 76, 4);
FIELD(NV_ENC_INITIALIZE_PARAMS, reserved1, 152, 1136);
FIELD(NV_ENC_INITIALIZE_PARAMS, reserved2, 1288, 512);
SIZE(NV_ENC_RECONFIGURE_PARAMS, 1816);
FIELD(NV_ENC_RECONFIGURE_PARAMS, reserved, 4, 4);
FIELD(NV_ENC_RECONFIGURE_PARAMS, reInitEncodeParams, 8, 1800);
FIELD(NV_ENC_RECONFIGURE_PARAMS, reserved2, 1812, 4);
SIZE(NV_ENC_PRESET_CONFIG, 5128);
FIELD(NV_ENC_PRESET_CONFIG, reserved, 4, 4);
FIELD(NV_ENC_PRESET_CONFIG, reserved1, 3592, 1024);
SIZE(NV_ENC_PIC_PARAMS_H264, 1536);
FIELD(NV_ENC_PIC_PARAMS_H264, timeCode, 208, 32);
FIELD(NV_ENC_PIC_PARAMS_H264, reserved, 240, 808);
SIZE(NV_ENC_PIC_PARAMS_HEVC, 1536);
FIELD(NV_ENC_PIC_PARAMS_HEVC, reserved1, 20, 4);
FIELD(NV_ENC_PIC_PARAMS_HEVC, timeCode, 72, 32);
FIELD(NV_ENC_PIC_PARAMS_HEVC, numTemporalLayers, 104, 4);
FIELD(NV_ENC_PIC_PARAMS_HEVC, viewId, 108, 4);
FIELD(NV_ENC_PIC_PARAMS_HEVC, p3DReferenceDisplayInfo, 112, 8);
FIELD(NV_ENC_PIC_PARAMS_HEVC, pMaxCll, 120, 8);
FIELD(NV_ENC_PIC_PARAMS_HEVC, pMasteringDisplay, 128, 8);
FIELD(NV_ENC_PIC_PARAMS_HEVC, reserved2, 136, 936);
FIELD(NV_ENC_PIC_PARAMS_HEVC, reserved3, 1072, 464);
SIZE(NV_ENC_PIC_PARAMS_AV1, 1544);
FIELD(NV_ENC_PIC_PARAMS_AV1, reserved, 28, 4);
FIELD(NV_ENC_PIC_PARAMS_AV1, reserved1, 52, 4);
FIELD(NV_ENC_PIC_PARAMS_AV1, ltrMarkFrameIdx, 72, 4);
FIELD(NV_ENC_PIC_PARAMS_AV1, ltrUseFrameBitmap, 76, 4);
FIELD(NV_ENC_PIC_PARAMS_AV1, numTemporalLayers, 80, 4);
FIELD(NV_ENC_PIC_PARAMS_AV1, reserved4, 84, 4);
FIELD(NV_ENC_PIC_PARAMS_AV1, pMaxCll, 88, 8);
FIELD(NV_ENC_PIC_PARAMS_AV1, pMasteringDisplay, 96, 8);
FIELD(NV_ENC_PIC_PARAMS_AV1, reserved2, 104, 968);
FIELD(NV_ENC_PIC_PARAMS_AV1, reserved3, 1072, 472);
SIZE(NV_ENC_CODEC_PIC_PARAMS, 1544);
FIELD(NV_ENC_CODEC_PIC_PARAMS, av1PicParams, 0, 1544);
SIZE(NV_ENC_PIC_PARAMS, 3360);
FIELD(NV_ENC_PIC_PARAMS, codecPicParams, 80, 1544);
FIELD(NV_ENC_PIC_PARAMS, meHintCountsPerBlock, 1624, 32);
FIELD(NV_ENC_PIC_PARAMS, meExternalHints, 1656, 8);
FIELD(NV_ENC_PIC_PARAMS, reserved2, 1664, 28);
FIELD(NV_ENC_PIC_PARAMS, reserved5, 1696, 16);
FIELD(NV_ENC_PIC_PARAMS, reserved4, 1732, 4);
FIELD(NV_ENC_PIC_PARAMS, reserved6, 2904, 456);
SIZE(NV_ENC_MEONLY_PARAMS, 1544);
FIELD(NV_ENC_MEONLY_PARAMS, reserved, 12, 4);
FIELD(NV_ENC_MEONLY_PARAMS, reserved2, 40, 4);
FIELD(NV_ENC_MEONLY_PARAMS, bufferFmt, 44, 4);
FIELD(NV_ENC_MEONLY_PARAMS, reserved1, 104, 964);
FIELD(NV_ENC_MEONLY_PARAMS, reserved3, 1072, 472);
SIZE(NV_ENC_LOCK_BITSTREAM, 1544);
FIELD(NV_ENC_LOCK_BITSTREAM, reserved, 116, 4);
FIELD(NV_ENC_LOCK_BITSTREAM, reserved1, 132, 876);
FIELD(NV_ENC_LOCK_BITSTREAM, reserved2, 1008, 504);
FIELD(NV_ENC_LOCK_BITSTREAM, reservedInternal, 1512, 32);
SIZE(NV_ENC_REGISTER_RESOURCE, 1536);
FIELD(NV_ENC_REGISTER_RESOURCE, chromaOffsetIn, 64, 8);
FIELD(NV_ENC_REGISTER_RESOURCE, reserved1, 72, 976);
SIZE(NV_ENC_STAT, 1544);
FIELD(NV_ENC_STAT, reserved1, 124, 908);
SIZE(NV_ENC_EVENT_PARAMS, 1544);
FIELD(NV_ENC_EVENT_PARAMS, reserved1, 16, 1016);

// Structures that are the same in 12.1.
SIZE(NVENC_RECT, 16);
SIZE(NV_ENC_CAPS_PARAM, 256);
SIZE(NV_ENC_ENCODE_OUT_PARAMS, 256);
SIZE(NV_ENC_CREATE_BITSTREAM_BUFFER, 776);
SIZE(NV_ENC_MVECTOR, 4);
SIZE(NV_ENC_H264_MV_DATA, 24);
SIZE(NV_ENC_HEVC_MV_DATA, 20);
SIZE(NV_ENC_QP, 12);
SIZE(NV_ENC_CLOCK_TIMESTAMP_SET, 8);
SIZE(NV_ENC_CONFIG_H264_VUI_PARAMETERS, 112);
SIZE(NVENC_EXTERNAL_ME_HINT_COUNTS_PER_BLOCKTYPE, 16);
SIZE(NVENC_EXTERNAL_ME_HINT, 4);
SIZE(NVENC_EXTERNAL_ME_SB_HINT, 6);
SIZE(NV_ENC_FILM_GRAIN_PARAMS_AV1, 156);
SIZE(NV_ENC_CONFIG_H264_MEONLY, 1536);
SIZE(NV_ENC_CONFIG_HEVC_MEONLY, 1536);
SIZE(NV_ENC_CODEC_CONFIG, 1792);
SIZE(NV_ENC_CONFIG, 3584);
SIZE(NV_ENC_PIC_PARAMS_MVC, 128);
SIZE(NV_ENC_PIC_PARAMS_H264_EXT, 128);
SIZE(NV_ENC_SEI_PAYLOAD, 16);
SIZE(NV_ENC_LOCK_INPUT_BUFFER, 1544);
SIZE(NV_ENC_MAP_INPUT_RESOURCE, 1544);
SIZE(NV_ENC_INPUT_RESOURCE_OPENGL_TEX, 8);
SIZE(NV_ENC_FENCE_POINT_D3D12, 64);
SIZE(NV_ENC_INPUT_RESOURCE_D3D12, 272);
SIZE(NV_ENC_OUTPUT_RESOURCE_D3D12, 272);
SIZE(NV_ENC_SEQUENCE_PARAM_PAYLOAD, 1544);
SIZE(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS, 1552);
SIZE(NV_ENCODE_API_FUNCTION_LIST, 2552);

// Places of the driver's functions.
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, version) == 0, "place of version");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, reserved) == 4, "place of reserved");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncOpenEncodeSession) == 8,
               "place of nvEncOpenEncodeSession");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodeGUIDCount) == 16,
               "place of nvEncGetEncodeGUIDCount");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodeProfileGUIDCount) == 24,
               "place of nvEncGetEncodeProfileGUIDCount");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodeProfileGUIDs) == 32,
               "place of nvEncGetEncodeProfileGUIDs");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodeGUIDs) == 40,
               "place of nvEncGetEncodeGUIDs");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetInputFormatCount) == 48,
               "place of nvEncGetInputFormatCount");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetInputFormats) == 56,
               "place of nvEncGetInputFormats");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodeCaps) == 64,
               "place of nvEncGetEncodeCaps");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodePresetCount) == 72,
               "place of nvEncGetEncodePresetCount");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodePresetGUIDs) == 80,
               "place of nvEncGetEncodePresetGUIDs");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodePresetConfig) == 88,
               "place of nvEncGetEncodePresetConfig");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncInitializeEncoder) == 96,
               "place of nvEncInitializeEncoder");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncCreateInputBuffer) == 104,
               "place of nvEncCreateInputBuffer");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncDestroyInputBuffer) == 112,
               "place of nvEncDestroyInputBuffer");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncCreateBitstreamBuffer) == 120,
               "place of nvEncCreateBitstreamBuffer");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncDestroyBitstreamBuffer) == 128,
               "place of nvEncDestroyBitstreamBuffer");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncEncodePicture) == 136,
               "place of nvEncEncodePicture");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncLockBitstream) == 144,
               "place of nvEncLockBitstream");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncUnlockBitstream) == 152,
               "place of nvEncUnlockBitstream");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncLockInputBuffer) == 160,
               "place of nvEncLockInputBuffer");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncUnlockInputBuffer) == 168,
               "place of nvEncUnlockInputBuffer");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodeStats) == 176,
               "place of nvEncGetEncodeStats");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetSequenceParams) == 184,
               "place of nvEncGetSequenceParams");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncRegisterAsyncEvent) == 192,
               "place of nvEncRegisterAsyncEvent");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncUnregisterAsyncEvent) == 200,
               "place of nvEncUnregisterAsyncEvent");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncMapInputResource) == 208,
               "place of nvEncMapInputResource");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncUnmapInputResource) == 216,
               "place of nvEncUnmapInputResource");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncDestroyEncoder) == 224,
               "place of nvEncDestroyEncoder");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncInvalidateRefFrames) == 232,
               "place of nvEncInvalidateRefFrames");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncOpenEncodeSessionEx) == 240,
               "place of nvEncOpenEncodeSessionEx");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncRegisterResource) == 248,
               "place of nvEncRegisterResource");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncUnregisterResource) == 256,
               "place of nvEncUnregisterResource");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncReconfigureEncoder) == 264,
               "place of nvEncReconfigureEncoder");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, reserved1) == 272, "place of reserved1");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncCreateMVBuffer) == 280,
               "place of nvEncCreateMVBuffer");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncDestroyMVBuffer) == 288,
               "place of nvEncDestroyMVBuffer");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncRunMotionEstimationOnly) == 296,
               "place of nvEncRunMotionEstimationOnly");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetLastErrorString) == 304,
               "place of nvEncGetLastErrorString");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncSetIOCudaStreams) == 312,
               "place of nvEncSetIOCudaStreams");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetEncodePresetConfigEx) == 320,
               "place of nvEncGetEncodePresetConfigEx");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncGetSequenceParamEx) == 328,
               "place of nvEncGetSequenceParamEx");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncRestoreEncoderState) == 336,
               "place of nvEncRestoreEncoderState");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, nvEncLookaheadPicture) == 344,
               "place of nvEncLookaheadPicture");
_Static_assert(offsetof(NV_ENCODE_API_FUNCTION_LIST, reserved2) == 352, "place of reserved2");

static int failures = 0;

static void expect_word(const char* field, const void* structure, size_t bytes, size_t offset,
                        uint32_t expected) {
  for (size_t at = 0; at + sizeof(uint32_t) <= bytes; at += sizeof(uint32_t)) {
    uint32_t word;
    memcpy(&word, (const unsigned char*)structure + at, sizeof word);
    if (word != (at == offset ? expected : 0)) {
      printf("%s: the word at %zu is 0x%08x\n", field, at, (unsigned)word);
      ++failures;
    }
  }
}

// Fills the bit-field with ones in a zeroed structure; these bits of this word have to be all that is set.
#define BITS(type, field, offset, first, width)                                                             \
  do {                                                                                                      \
    static type structure;                                                                                  \
    memset(&structure, 0, sizeof structure);                                                                \
    structure.field = (1U << (width)) - 1U;                                                                 \
    expect_word(#type "." #field, &structure, sizeof structure, offset, ((1U << (width)) - 1U) << (first)); \
  } while (0)

static void check_bit_fields(void) {
  BITS(HEVC_3D_REFERENCE_DISPLAY_INFO, refViewingDistanceFlag, 0, 0, 1);
  BITS(HEVC_3D_REFERENCE_DISPLAY_INFO, threeDimensionalReferenceDisplaysExtensionFlag, 0, 1, 1);
  BITS(HEVC_3D_REFERENCE_DISPLAY_INFO, reserved, 0, 2, 30);
  BITS(NV_ENC_CONFIG_HEVC, reserved3, 16, 11, 3);
  BITS(NV_ENC_CONFIG_HEVC, enableTemporalSVC, 16, 20, 1);
  BITS(NV_ENC_CONFIG_HEVC, enableMVHEVC, 16, 21, 1);
  BITS(NV_ENC_CONFIG_HEVC, outputHevc3DReferenceDisplayInfo, 16, 22, 1);
  BITS(NV_ENC_CONFIG_HEVC, outputMaxCll, 16, 23, 1);
  BITS(NV_ENC_CONFIG_HEVC, outputMasteringDisplay, 16, 24, 1);
  BITS(NV_ENC_CONFIG_HEVC, reserved, 16, 25, 7);
  BITS(NV_ENC_CONFIG_AV1, enableLTR, 16, 12, 1);
  BITS(NV_ENC_CONFIG_AV1, enableTemporalSVC, 16, 13, 1);
  BITS(NV_ENC_CONFIG_AV1, outputMaxCll, 16, 14, 1);
  BITS(NV_ENC_CONFIG_AV1, outputMasteringDisplay, 16, 15, 1);
  BITS(NV_ENC_CONFIG_AV1, reserved4, 16, 16, 2);
  BITS(NV_ENC_INITIALIZE_PARAMS, enableUniDirectionalB, 68, 12, 1);
  BITS(NV_ENC_INITIALIZE_PARAMS, reservedBitFields, 68, 13, 19);
  BITS(NV_ENC_RECONFIGURE_PARAMS, resetEncoder, 1808, 0, 1);
  BITS(NV_ENC_RECONFIGURE_PARAMS, forceIDR, 1808, 1, 1);
  BITS(NV_ENC_RECONFIGURE_PARAMS, reserved1, 1808, 2, 30);
  BITS(NV_ENC_PIC_PARAMS_HEVC, temporalConfigUpdate, 16, 4, 1);
  BITS(NV_ENC_PIC_PARAMS_HEVC, reservedBitFields, 16, 5, 27);
  BITS(NV_ENC_PIC_PARAMS_AV1, ltrMarkFrame, 16, 10, 1);
  BITS(NV_ENC_PIC_PARAMS_AV1, ltrUseFrames, 16, 11, 1);
  BITS(NV_ENC_PIC_PARAMS_AV1, temporalConfigUpdate, 16, 12, 1);
  BITS(NV_ENC_PIC_PARAMS_AV1, reservedBitFields, 16, 13, 19);
}

static void expect_guid(const char* name, GUID guid, const char* expected) {
  char text[37];
  const unsigned char* tail = guid.Data4;
  snprintf(text, sizeof text, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", (unsigned)guid.Data1,
           guid.Data2, guid.Data3, tail[0], tail[1], tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
  if (strcmp(text, expected) != 0) {
    printf("%s is %s\n", name, text);
    ++failures;
  }
}

int main(void) {
  check_bit_fields();
  expect_guid("NV_ENC_H264_PROFILE_HIGH_10_GUID", NV_ENC_H264_PROFILE_HIGH_10_GUID,
              "8F0C337E-186C-48E9-A69D-7A8334089758");
  expect_guid("NV_ENC_H264_PROFILE_HIGH_422_GUID", NV_ENC_H264_PROFILE_HIGH_422_GUID,
              "FF3242E9-613C-4295-A1E8-2A7FE94D8133");
  return failures == 0 ? 0 : 1;
}

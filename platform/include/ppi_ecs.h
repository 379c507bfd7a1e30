/* The ambient colour sensor in the television's frame.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* One reading. Readers of the last two words take them as signed. */
typedef struct
{
    unsigned int w0;                /* red */
    unsigned int w1;                /* green */
    unsigned int w2;                /* blue */
    unsigned int w3;                /* clear */
    unsigned int w4;                /* status */
    unsigned int illuminance;       /* lux */
    unsigned int color_temperature; /* kelvin */
} ppi_ecs_colorsensor_info;

/* Reads the sensor. 0, or another number on failure, with *info as it was. */
int ppi_ecs_get_colorsensor_info(ppi_ecs_colorsensor_info* info);

#ifdef __cplusplus
}
#endif

// The radar module's acquisition settings. The record only carries values:
// the program that talks to the module applies them.
#ifndef IFX_RADAR_DEVICECONFIG_H
#define IFX_RADAR_DEVICECONFIG_H

#include "ifxBase/Types.h"

IFX_EXTERN_C_BEGIN

// Values of ifx_Device_Config_t::mimo_mode.
enum ifx_MIMO_Mode_e {
    IFX_MIMO_OFF = 0,  // one transmit antenna at a time, no multiplexing
    IFX_MIMO_TDM = 1   // transmit antennas take turns chirp by chirp
};

typedef struct ifx_Device_Config_s {
    uint32_t sample_rate_Hz;              // ADC sample rate
    uint32_t rx_mask;                     // bit i set: receive antenna i of the chip in use
    uint32_t tx_mask;                     // bit i set: transmit antenna i in use
    uint32_t tx_power_level;              // transmit power, 0..31
    uint32_t if_gain_dB;                  // gain of the IF (baseband) amplifier
    uint64_t start_frequency_Hz;          // chirp start frequency
    uint64_t end_frequency_Hz;            // chirp end frequency
    uint32_t num_samples_per_chirp;       // ADC samples taken during one chirp
    uint32_t num_chirps_per_frame;        // chirps in one frame
    ifx_Float_t chirp_repetition_time_s;  // time from one chirp's start to the next one's
    ifx_Float_t frame_repetition_time_s;  // time from one frame's start to the next one's
    uint32_t mimo_mode;                   // ifx_MIMO_Mode_e
} ifx_Device_Config_t;

IFX_EXTERN_C_END

#endif

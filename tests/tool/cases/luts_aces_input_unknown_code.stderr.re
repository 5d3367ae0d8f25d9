warning: colorimetry 99999 is unknown

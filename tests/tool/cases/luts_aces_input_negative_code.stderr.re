warning: colorimetry -1 is unknown

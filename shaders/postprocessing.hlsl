// postprocessing.hlsl

// colorprocessing.hlsl

// box.hlsl

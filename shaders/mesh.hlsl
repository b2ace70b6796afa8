// mesh.hlsl

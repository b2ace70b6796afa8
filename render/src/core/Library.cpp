// LumaroRender
